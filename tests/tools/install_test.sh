#!/bin/sh
# `make install` of the program: installs under a scratch DESTDIR from the build directory given (so that files
# with absolute destinations, such as the GStreamer plugin, land there too), then checks that
# the program runs from there, that its manual page renders without warnings and that its bash completion
# completes commands and a command's options.
set -eu
build=$1
dest=$(mktemp -d /tmp/vorn_install_XXXXXX)
trap 'rm -rf "$dest"' EXIT
DESTDIR=$dest cmake --install "$build" --prefix /usr/local >/dev/null
prefix=$dest/usr/local
fail() { echo "install test: $*" >&2; exit 1; }
for f in bin/vorn share/man/man1/vorn.1 share/bash-completion/completions/vorn share/vornbase/plates/charnum.who \
         share/vornbase/plates/num.who share/vornbase/plates/char.who; do
  [ -s "$prefix/$f" ] || fail "$f not installed"
done
"$prefix/bin/vorn" --version | grep -q "^vorn [0-9]" || fail "the installed program does not run"
if command -v groff >/dev/null; then
  warnings=$(groff -man -ww -z -Tutf8 "$prefix/share/man/man1/vorn.1" 2>&1)
  [ -z "$warnings" ] || fail "manual page: $warnings"
fi
complete_words() {
  bash -c '. "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _vorn; echo "${COMPREPLY[*]}"' _ \
    "$prefix/share/bash-completion/completions/vorn" "$@"
}
[ "$(complete_words vorn gu)" = "guard" ] || fail "command completion: '$(complete_words vorn gu)'"
[ "$(complete_words vorn guard --li)" = "--line" ] || fail "option completion: '$(complete_words vorn guard --li)'"
[ -z "$(complete_words vorn track --li)" ] || fail "track was offered guard's --line"
[ "$(complete_words vorn bgsub --ma)" = "--masks" ] || fail "bgsub options: '$(complete_words vorn bgsub --ma)'"
[ -z "$(complete_words vorn track --ma)" ] || fail "track was offered --masks"
[ "$(complete_words vorn track --mo)" = "--model" ] || fail "track options: '$(complete_words vorn track --mo)'"
echo "install test: ok"
