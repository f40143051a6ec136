# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
# Sourced by mips.sh. Source archives of Debian, and what is built from them once, kept in the user's cache folder.

cache=${XDG_CACHE_HOME:-${HOME:-$PWD/build}/.cache}/kvrn

# source_uri PACKAGE: apt's line of the upstream archive; nothing where no package source offers it.
source_uri() {
  apt-get source --only-source --print-uris "$1" 2>/dev/null |
    grep -E " ${1}_[^ ]*\.orig\.tar\.[a-z0-9]+ " | tail -1 || true
}

# fetch_source PACKAGE: sets `archive` to the upstream archive, fetched once and checked against Debian's checksum.
fetch_source() {
  local package=$1 found line uri file sum
  mkdir -p "$cache"
  found=$(find "$cache" -maxdepth 1 -name "${package}_*.orig.tar.*" ! -name '*.sha256' 2>/dev/null | sort | tail -1)
  if [[ -n $found ]] && (cd "$cache" && sha256sum --quiet -c "$(basename "$found").sha256"); then
    archive=$found
    return
  fi
  line=$(source_uri "$package")
  if [[ -z $line ]]; then
    as_root || die "no source of $package is configured: add a deb-src entry for trixie, or run this command as root once"
    # Perhaps only the package lists are missing.
    update_lists
    line=$(source_uri "$package")
  fi
  if [[ -z $line ]]; then
    add_source trixie-src deb-src trixie
    update_lists
    line=$(source_uri "$package")
    [[ -n $line ]] || die "the package sources offer no source archive of $package"
  fi
  read -r uri file _ sum <<<"$line"
  archive=$cache/$file
  # As root, apt would download as another user, who may not be able to write into a home folder.
  /usr/lib/apt/apt-helper -o APT::Sandbox::User=root download-file "$(tr -d "'" <<<"$uri")" "$archive" "$sum" >/dev/null
  printf '%s  %s\n' "${sum#SHA256:}" "$file" >"$archive.sha256"
}

# keep NAME ARCHIVE RECIPE MADE-OF...: sets `place` to what the function RECIPE makes from the archive, built once and
# kept under a hash of all that made it. RECIPE gets the unpacked tree and the place to install to.
keep() {
  local name=$1 from=$2 recipe=$3 key tree
  key=$({ printf '%s\n' "${@:4}" "$(basename "$from")" "$(mips-linux-gnu-gcc --version | head -1)" && declare -f "$recipe"; } | sha256sum)
  place=$cache/$name-${key:0:16}
  [[ ! -e $place ]] || return 0
  say "building $name for MIPS"
  tree=$cache/$name-build.$$
  rm -rf "$place.new" && mkdir -p "$tree"
  tar -xf "$from" -C "$tree" --strip-components=1
  recipe "build/$name.log" "building $name" "$recipe" "$tree" "$place.new"
  mv "$place.new" "$place"
  rm -rf "$tree"
}
