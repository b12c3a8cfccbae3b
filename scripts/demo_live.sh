# An appliance that watches an interface, for scripts/demo.sh, which sources this file with $interface and $work. Without
# an interface it watches the loopback of a network namespace of its own, in which programs talk.

# Runs a program in such a namespace.
among_talkers() {
    for namespaces in "--user --map-root-user --net --mount" "--net --mount"; do
        # shellcheck disable=SC2086 # words
        unshare $namespaces true 2>/dev/null || continue
        mkdir "$work/talk"
        # shellcheck disable=SC2016,SC2086 # the shell inside expands it
        exec unshare $namespaces sh -c 'folder=$1 && shift && { lab/talk.sh "$folder" $$ & } && exec "$@"' sh \
            "$work/talk" "$@"
    done
    echo "a network namespace of one's own is not allowed here: name an interface, as root" >&2
    exit 1
}

# The same reports twice: what they show moves with the clock.
watch_live() {
    echo "Watching for eight seconds."
    sleep 8
    show obslog stat
    show ipobj listbussflow sort=bytes limit=10 lang=en
    echo && echo "Who moves how many bits a second now, and what the hosts are:"
    show ipobj listipa
    show hostinfo list count=5
    echo && echo "Five seconds later:"
    sleep 5
    show obslog stat
    show ipobj listipa
    cat <<END

What to try next:
    scripts/demo.sh live INTERFACE                            your own traffic ("any": of all interfaces)
    LAB_ARGUMENTS="--live INTERFACE" scripts/demo.sh shell    the same, for commands of your own
END
}

[ -n "$interface" ] || runner=among_talkers
LAB_ARGUMENTS="--live ${interface:-lo}"
