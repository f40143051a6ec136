# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
# Sourced by check, cross and size. The build for the device, with the library that it needs for MIPS: libgpiod.

mips_host=mips-linux-gnu
mips_prefix=$PWD/build/deps/mips
cache=${XDG_CACHE_HOME:-${HOME:-$PWD/build}/.cache}/kvrn

# Prints apt's line about libgpiod's source archive, or nothing when no package source offers the archive.
gpiod_source_uri() {
  { apt-get source --print-uris libgpiod/trixie || apt-get source --print-uris libgpiod; } 2>/dev/null |
    grep -E "libgpiod_2\.[0-9.]+\.orig\.tar\.xz " | tail -1 || true
}

# Fetches the source archive once and checks it against the checksum from the package source.
fetch_gpiod() {
  local found line uri file sum
  mkdir -p "$cache"
  found=$(find "$cache" -name 'libgpiod_2*.orig.tar.xz' 2>/dev/null | sort | tail -1)
  if [[ -n $found ]] && (cd "$cache" && sha256sum --quiet -c "$(basename "$found").sha256"); then
    gpiod_archive=$found
    return
  fi
  line=$(gpiod_source_uri)
  if [[ -z $line ]]; then
    as_root || die "no source of libgpiod 2 is configured: add a deb-src entry for trixie, or run this command as root once"
    # Perhaps only the package lists are missing.
    update_lists
    line=$(gpiod_source_uri)
  fi
  if [[ -z $line ]]; then
    add_source trixie-src deb-src trixie
    update_lists
    line=$(gpiod_source_uri)
    [[ -n $line ]] || die "the package sources offer no source archive of libgpiod 2"
  fi
  read -r uri file _ sum <<<"$line"
  mkdir -p "$cache"
  gpiod_archive=$cache/$file
  # As root, apt would download as another user, who may not be able to write into a home folder.
  /usr/lib/apt/apt-helper -o APT::Sandbox::User=root download-file "$(tr -d "'" <<<"$uri")" "$gpiod_archive" "$sum" >/dev/null
  printf '%s  %s\n' "${sum#SHA256:}" "$file" >"$gpiod_archive.sha256"
}

build_gpiod() {
  [[ -e $mips_prefix/lib/libgpiod.so.3 ]] && return
  local gpiod_archive source=build/deps/libgpiod
  fetch_gpiod
  say "building libgpiod for MIPS"
  rm -rf "$source" && mkdir -p "$source"
  tar -xf "$gpiod_archive" -C "$source" --strip-components=1
  (
    cd "$source"
    ./configure --quiet --host="$mips_host" --prefix="$mips_prefix" --disable-static --disable-tools \
      --disable-bindings-cxx --disable-bindings-python --disable-tests CFLAGS="-Os"
    make -s -j "$jobs"
    make -s install-strip
  ) >build/deps/libgpiod.log 2>&1 || die "building libgpiod failed: build/deps/libgpiod.log"
}

build_mips() {
  need_packages "${packages_build[@]}" "${packages_test[@]}" "${packages_cross[@]}"
  build_gpiod
  build mips
  cp -a "$mips_prefix"/lib/libgpiod.so.3* build/mips/lib/
  python3 dev.d/rpath.py build/mips/bin build/mips/lib
}
