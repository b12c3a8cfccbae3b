#!/bin/sh
# Run by scripts/package.sh as root in a bare system: installs the packages that lie here, asks the lab as an ordinary
# user, purges, and looks for what stayed. Takes the version and the kind of the vendor key that must be told.
set -eu
version=$1
key=$2
fail() {
    echo "installed.sh: $*" >&2
    exit 1
}

# Every file of the system with its mode and size (a folder's grows and stays), but for the package manager's own books.
files() {
    find / -xdev \( -path /proc -o -path /dev -o -path /tmp -o -path /vigil -o -path /var/log -o -path /var/cache \) -prune -o \
        ! -path '/var/lib/dpkg/*' -printf '%p %y %m %s\n' -o -path '/var/lib/dpkg/info/*' -printf '%p %y %m %s\n' |
        sed 's/\( d [0-7]*\) [0-9]*$/\1/' | LC_ALL=C sort
}
# Whatever dpkg makes in its first run is there before.
dpkg --configure -a
files >/tmp/before
dpkg -i ./*.deb >/tmp/log 2>&1 || {
    cat /tmp/log >&2
    fail "cannot be installed"
}
files >/tmp/with
cmp -s /tmp/before /tmp/with && fail "nothing was installed"

mkdir -m 777 /tmp/try
cat >/tmp/try/run <<'EOF'
set -eu
version=$1
key=$2
cd /
export VIGIL_ROOT=/tmp/try/root TZ=UTC0 LC_ALL=C.UTF-8
vigil-lab --root "$VIGIL_ROOT" --sessions 200 --seed 1 >/tmp/try/lab &
lab=$!
waited=0
until [ -s /tmp/try/lab ]; do
    waited=$((waited + 1))
    [ "$waited" -lt 600 ] && kill -0 "$lab"
    sleep 0.1
done
expect() {
    wanted=$1
    shift
    got=$("$@") || { echo "$*: status $?" >&2; exit 1; }
    case $got in
    *"$wanted"*) ;;
    *) echo "$*: \"$wanted\" is not in: $got" >&2; exit 1 ;;
    esac
}
expect ' https tcp ' vigil ipobj listbussflow limit=1 lang=en # the name is the packaged dictionary's
expect '"data":[{"ip":"' vigil-json ipobj listflow limit=1
expect "{\"version\":\"$version\",\"vendor_key\":\"$key\"}" vigil-json --version
expect "vigil-lab $version" vigil-lab --version
printf '00:1A:2B Maker\n' >/tmp/try/list
vigil-ouidb make /tmp/try/list /tmp/try/database
expect Maker vigil-ouidb list /tmp/try/database
kill "$lab"
wait "$lab"
EOF
setpriv --reuid=65534 --regid=65534 --clear-groups sh /tmp/try/run "$version" "$key" || fail "the exchange failed"
echo "installed, and asked the lab as an ordinary user"

dpkg --purge vigil-lab vigil >/tmp/log 2>&1 || {
    cat /tmp/log >&2
    fail "cannot be purged"
}
files >/tmp/after
diff /tmp/before /tmp/after || fail "files stayed or changed"
echo "purged: no file left of $(diff /tmp/before /tmp/with | grep -c '^>')"
