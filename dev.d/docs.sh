# shellcheck shell=bash disable=SC2034,SC2154
# SPDX-License-Identifier: MIT
# The site in build/docs. It needs no network, and no server: open build/docs/index.html.
need_packages "${packages_docs[@]}"
work=build/docs-source
rm -rf "$work" build/docs
python3 dev.d/manuals.py "$work/man" scdoc
python3 dev.d/site.py "$work/pages" build/docs "$work/man"
python3 dev.d/links.py build/docs
say "build/docs/index.html"
