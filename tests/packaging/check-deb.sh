#!/bin/sh
# The Debian package as a user receives it: built by CPack from this build,
# unpacked into a throw-away root, its files and scripts checked, its
# programs run from there, and lintian asked for errors.
#   check-deb.sh BUILD_DIR
set -eu
build=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

(cd "$build" && cpack -G DEB -B "$work/out" >"$work/cpack.log" 2>&1) || { cat "$work/cpack.log"; exit 1; }
deb=$(ls "$work"/out/orvantine_*_*.deb)
root=$work/root
dpkg-deb -x "$deb" "$root"
dpkg-deb -e "$deb" "$work/control"

fail() { echo "check-deb: $*" >&2; exit 1; }
for file in usr/bin/orvantine usr/libexec/orvantine/OrvantineHelper \
            usr/lib/systemd/system/orvantine-helper.socket usr/lib/systemd/system/orvantine-helper.service \
            usr/lib/systemd/user/orvantine-record.service usr/lib/systemd/user/orvantine-serve.service \
            usr/lib/systemd/system/orvantine-serve.service usr/share/man/man1/orvantine.1.gz \
            usr/share/bash-completion/completions/orvantine usr/share/doc/orvantine/copyright \
            usr/share/doc/orvantine/changelog.gz; do
    [ -f "$root/$file" ] || fail "missing /$file"
done
"$root/usr/bin/orvantine" --version | grep -q '^orvantine ' || fail "the packaged command does not run"
zcat "$root/usr/share/man/man1/orvantine.1.gz" | grep -q '^\.SH EXIT STATUS' || fail "the manual page lacks its sections"
helper=$(sed -n 's/^ExecStart=\([^ ]*\).*/\1/p' "$root/usr/lib/systemd/system/orvantine-helper.service")
[ -x "$root$helper" ] || fail "the helper's unit starts $helper, which the package does not hold"

# The control data: dependencies from the linked libraries, the scripts
# valid shell that make the group and handle the socket.
grep -q '^Depends:.*libc6' "$work/control/control" || fail "no dependencies were worked out"
for script in postinst prerm postrm; do
    [ -x "$work/control/$script" ] || fail "$script is missing or not executable"
    sh -n "$work/control/$script" || fail "$script is not valid shell"
done
grep -q 'addgroup --system orvantine' "$work/control/postinst" || fail "postinst does not make the group"
grep -q 'enable orvantine-helper.socket' "$work/control/postinst" || fail "postinst does not enable the socket"
grep -q 'stop orvantine-helper.socket' "$work/control/prerm" || fail "prerm does not stop the socket"

# Installed into an empty root by dpkg itself: files land, scripts are
# kept (they run only where the root has a shell and adduser, so not here).
mkdir -p "$work/dpkg/var/lib/dpkg/updates" "$work/dpkg/var/lib/dpkg/info"
touch "$work/dpkg/var/lib/dpkg/status"
dpkg --root="$work/dpkg" --force-depends --force-script-chrootless --force-not-root --no-triggers \
    --unpack "$deb" >"$work/dpkg.log" 2>&1 || { cat "$work/dpkg.log"; fail "dpkg could not unpack it"; }
[ -x "$work/dpkg/usr/bin/orvantine" ] || fail "dpkg --root did not install the command"

if command -v lintian >/dev/null 2>&1; then
    lintian --fail-on error "$deb" || fail "lintian found errors"
else
    echo "check-deb: lintian is not installed; its check skipped"
fi
echo "check-deb: $(basename "$deb") is complete"
