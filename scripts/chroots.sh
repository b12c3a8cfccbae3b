# shellcheck shell=sh
# Bare Debian systems in folders, for the scripts that source this file: they run as root, and need mmdebstrap.
# The folders stay below VIGIL_CHROOTS for the next run; removing them is all it takes to begin anew.
chroots=${VIGIL_CHROOTS:-/var/cache/vigil-chroots}

# make_chroot NAME RELEASE ARCHITECTURES PACKAGES: with the release's updates and security archive. Lists are comma separated.
make_chroot() {
    made="$2 $3 $4"
    [ "$(cat "$chroots/$1.made" 2>/dev/null)" = "$made" ] && return 0
    [ "$(id -u)" = 0 ] || {
        echo "a bare system is made and entered by root only" >&2
        return 1
    }
    command -v mmdebstrap >/dev/null || {
        echo "mmdebstrap is not installed" >&2
        return 1
    }
    rm -rf "${chroots:?}/$1" "$chroots/$1.made"
    mkdir -p "$chroots"
    echo "== making a bare $2 ($1)"
    mmdebstrap --quiet --mode=root --variant=minbase --architectures="$3" ${4:+--include="$4"} "$2" "$chroots/$1" || return 1
    echo "$made" >"$chroots/$1.made"
}

# in_chroot NAME FOLDER COMMAND: FOLDER is /vigil in there. Processes, mounts and segments end with the command.
in_chroot() {
    name=$1
    folder=$2
    shift 2
    cp /etc/resolv.conf "$chroots/$name/etc/resolv.conf"
    mkdir -p "$chroots/$name/vigil"
    # shellcheck disable=SC2016 # expanded in there
    unshare --mount --pid --ipc --fork --kill-child sh -c '
        set -e
        mount --bind "$2" "$2" # whose root has no mount of its own can make no namespace of mounts
        mount --bind "$1" "$2/vigil"
        mount -t proc proc "$2/proc"
        mount --rbind /dev "$2/dev"
        mount -t tmpfs -o mode=1777 tmpfs "$2/tmp"
        root=$2
        shift 2
        exec env -i HOME=/root LANG=C.UTF-8 TERM="${TERM:-dumb}" PATH=/usr/sbin:/usr/bin:/sbin:/bin \
            ${VIGIL_OUI_KEY:+VIGIL_OUI_KEY=$VIGIL_OUI_KEY} chroot "$root" sh -c "cd /vigil && exec \"\$@\"" sh "$@"
    ' sh "$folder" "$chroots/$name" "$@"
}

# What building for arm64 on an amd64 machine takes, and running the result.
cross_packages="build-essential,ca-certificates,cmake,crossbuild-essential-arm64,debhelper,file,ieee-data,libfmt-dev:arm64"
cross_packages="$cross_packages,libgtest-dev,libgtest-dev:arm64,libpcap-dev,libpcap-dev:arm64,make,nettle-dev"
cross_packages="$cross_packages,nettle-dev:arm64,python3,python3-jsonschema,qemu-user"
