# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
# Debian packages: made, compared, examined, installed and tried in roots that hold what the packages ask for and
# nothing else. They are left in build/packages/SUITE.
# shellcheck source=dev.d/root.sh
source dev.d/root.sh
# shellcheck source=dev.d/boot.sh
source dev.d/boot.sh

# builder COMMAND...: runs a command in `root` as a user without rights, without a network.
builder() { enter_root "$root" unshare --net setpriv --reuid=builder --regid=builder --init-groups env HOME=/home/builder "$@"; }

# fresh_root NAME: sets `root` to a new copy of the release's root.
fresh_root() {
  root=$out/$1
  rm -rf "$root"
  copy_root "$root"
  # The lists are as old as the root.
  enter_root "$root" apt-get update -qq
}

# new_version VERSION CHANGELOG: puts an entry in front, with the date of the last one.
new_version() {
  [[ $1 != "$(dpkg-parsechangelog -l "$2" -S Version)" ]] || return 0
  printf 'kvrn (%s) unstable; urgency=medium\n\n  * Not released.\n\n%s\n\n' "$1" "$(grep -m 1 '^ --' "$2")" | cat - "$2" >"$2.new"
  mv "$2.new" "$2"
}

# The source is what git tracks.
lay_source() {
  fresh_root made
  enter_root "$root" useradd --create-home builder
  local source=$root/home/builder/one/kvrn-$version
  mkdir -p "$source"
  tracked | tar -cf - --no-recursion -T - | tar -xf - -C "$source"
  new_version "$version" "$source/debian/changelog"
  enter_root "$root" apt-get install -y -qq dpkg-dev
  enter_root "$root" apt-get build-dep -y -qq "/home/builder/one/kvrn-$version"
  enter_root "$root" chown -R builder: /home/builder
}

# shellcheck disable=SC2016
build_once() { builder sh -ec 'cd ~/one/kvrn-*; DEB_BUILD_OPTIONS=parallel=$0 dpkg-buildpackage -us -uc' "$jobs"; }

# In another folder, at another time, in another time zone and language, with other rights of new files.
# shellcheck disable=SC2016
build_again() {
  builder sh -ec 'umask 0002; mkdir -p ~/a/second/folder; cd ~/a/second/folder
    dpkg-source -x ~/one/*.dsc kvrn
    cd kvrn; TZ=ZZZ-14 LC_ALL=C DEB_BUILD_OPTIONS=parallel=$(($0 + 1)) dpkg-buildpackage -us -uc -b' "$jobs"
}

# The same bytes, in the packages and in their debug symbols.
compare_builds() {
  (cd "$root/home/builder/one" && sha256sum -- *.deb) >"$out/SHA256SUMS"
  (cd "$root/home/builder/a/second/folder" && sha256sum --quiet -c "$OLDPWD/$out/SHA256SUMS")
}

# The same files as a later version: for upgrades.
build_next() {
  new_version "$version+next" "$root/home/builder/a/second/folder/kvrn/debian/changelog"
  builder sh -ec 'cd ~/a/second/folder/kvrn; dpkg-buildpackage -us -uc -b -nc'
}

keep_packages() {
  rm -rf "$out"/*.{deb,dsc,tar.*,changes,buildinfo} "$out/next"
  mkdir "$out/next"
  cp "$root"/home/builder/one/*.{deb,dsc,tar.*,changes,buildinfo} "$out/"
  cp "$root"/home/builder/a/second/folder/*+next_*.deb "$out/next/"
}

make_packages() {
  say "the build dependencies"
  recipe "$out/root.log" "laying the source" lay_source
  root=$out/made
  say "the first build"
  recipe "$out/build.log" "building the packages" build_once
  say "the second build"
  recipe "$out/build-again.log" "building them again" build_again
  compare_builds || die "the second build differs"
  say "both builds have the same bytes"
  recipe "$out/build-next.log" "building the next version" build_next
  keep_packages
}

examine_packages() {
  recipe "$out/lintian-install.log" "installing lintian" enter_root "$root" apt-get install -y -qq lintian
  builder sh -ec 'lintian --fail-on error,warning ~/one/*.changes'
  say "lintian has neither errors nor warnings"
}

# files: a line for each file of `root`: name, rights, owner, what a link points to, and the content. Left out: what the
# package manager keeps for itself, and accounts, which stay, because files may still belong to them.
files() {
  local left_out=(proc sys dev debs var/lib/dpkg var/lib/apt var/cache var/log etc/ld.so.cache) name
  for name in passwd group shadow gshadow; do left_out+=("etc/$name" "etc/$name-"); done
  # shellcheck disable=SC2046  # words
  (cd "$root" && find . -xdev \( -false $(printf -- '-o -path ./%s ' "${left_out[@]}") \) -prune -o \
    -printf '%p %M %u:%g %l\n' -type f -exec sha256sum {} +) | sed -E 's/^([0-9a-f]{64})  (.*)/\2 \1/' | sort
}

# The packages that ours depend on, without ours.
dependencies() {
  local package
  for package in "$out"/*.deb; do dpkg-deb -f "$package" Pre-Depends Depends | sed 's/^[A-Za-z-]*: //'; done |
    tr ',' '\n' | sed 's/^ *//; /kvrn/d; /^$/d' | sort -u | paste -sd ,
}

try_installation() {
  local ours=()
  fresh_root installed
  mkdir -p "$root/debs/next"
  cp "$out"/*.deb "$root/debs/"
  cp "$out"/next/*.deb "$root/debs/next/"
  mapfile -t ours < <(for package in "$out"/*.deb; do dpkg-deb -f "$package" Package; done)
  enter_root "$root" apt-get satisfy -y -qq "$(dependencies)"
  files >"$out/files.before"
  enter_root "$root" sh -ec 'apt-get install -y -qq /debs/*.deb'
  enter_root "$root" kvrnctl --version
  files >"$out/files.installed"
  enter_root "$root" sh -ec 'apt-get install -y -qq /debs/next/*.deb'
  files >"$out/files.upgraded"
  enter_root "$root" dpkg --remove "${ours[@]}"
  files >"$out/files.removed"
  # What the services have left.
  mkdir -p "$root"/{var/lib/kvrn-agentd,run/kvrn,run/kvrn-sensors-nut}
  touch "$root"/{var/lib/kvrn-agentd/told,run/kvrn/monitord.pid,tmp/.psu_info_cache}
  enter_root "$root" dpkg --purge "${ours[@]}"
  files >"$out/files.purged"
}

# names_changed BEFORE AFTER: the names that are only in one of two lists.
names_changed() { diff <(cut -d ' ' -f 1 "$out/files.$1") <(cut -d ' ' -f 1 "$out/files.$2") | grep '^[<>]' || true; }

compare_installation() {
  recipe "$out/install.log" "installing, upgrading, removing and purging" try_installation
  local left
  # Only the changelogs differ in the next version.
  left=$(names_changed installed upgraded)
  [[ -z $left ]] || die "other files after an upgrade: $left"
  left=$(names_changed before removed | grep -v -e ' \./etc/systemd/system/' -e ' \./var/lib/' || true)
  [[ -z $left ]] || die "left after a removal: $left"
  diff "$out/files.before" "$out/files.purged" || die "purging leaves a difference: above"
  say "installed, upgraded, removed; and no difference is left after a purge"
}

# debian/tests, with nothing installed but what each of them asks for.
run_package_tests() {
  fresh_root tested
  mkdir -p "$root/debs"
  cp "$out"/*.deb "$out"/*.dsc "$out"/*.tar.* "$root/debs/"
  recipe "$out/autopkgtest-install.log" "installing autopkgtest" enter_root "$root" apt-get install -y -qq autopkgtest apt-utils dpkg-dev
  enter_root "$root" sh -ec 'autopkgtest --no-built-binaries /debs/*.deb /debs/*.dsc -- null' >"$out/autopkgtest.log" 2>&1 ||
    { tail -n 40 "$out/autopkgtest.log"; die "debian/tests: $out/autopkgtest.log"; }
  grep -E '^[a-z]+ +PASS$' "$out/autopkgtest.log" | sort -u
}

boot=0 suites=()
for word in "$@"; do
  case $word in
    --boot) boot=1 ;;
    bookworm | trixie) [[ " ${suites[*]} " == *" $word "* ]] || suites+=("$word") ;;
    *) die_usage "no release '$word': bookworm trixie" ;;
  esac
done
if [[ ${#suites[@]} -eq 0 ]]; then
  suites=("$(codename)")
  [[ ${suites[0]} =~ ^(bookworm|trixie)$ ]] || die_usage "for which release? bookworm trixie"
fi
as_root || die "packages are made in roots of their own, which takes root's rights"
need_packages "${packages_boot[@]}" dpkg-dev
version=$(dpkg-parsechangelog -S Version)
project=$(PYTHONPATH=dev.d python3 -B -c 'import versions; print(versions.project())')
# Between two releases: above the last one, below the next.
[[ $version == "$project" ]] || version=$project~dev
for suite in "${suites[@]}"; do
  out=build/packages/$suite
  mkdir -p "$out"
  exec {lock}>"$out/lock"
  flock --nonblock "$lock" || die "$out is in use by another ./dev packages"
  make_root "$suite"
  timed "$suite: packages, built twice" make_packages
  timed "$suite: lintian" examine_packages
  timed "$suite: installation" compare_installation
  timed "$suite: debian/tests" run_package_tests
  [[ $boot -eq 0 ]] || timed "$suite: under systemd" apart boot_round "$suite" "$out"
  rm -rf "$out"/{made,installed,tested}
done
print_timings
