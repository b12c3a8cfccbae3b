# Many lab appliances asked at once, for scripts/demo.sh, which sources this file with $work, $fleet_size and vigil-json
# on the PATH. The commands are those of docs/fleet.md. The second appliance hangs, the third does not serve.
page=$PWD/docs/fleet.md
folder=$work/fleet
fleet_faults=0

# What stands in docs/fleet.md under a name.
block() {
    awk -v name="$1" '$0 == "```" { on = 0 } on; /^```[a-z]+ / && $2 == name { on = 1 }' "$page"
}
# The same into a file, and shown.
show_block() {
    block "$1" >"$folder/$1"
    cat "$folder/$1"
}
fleet_fault() {
    echo "FAULT: $*" >&2
    fleet_faults=$((fleet_faults + 1))
}
sql() {
    sqlite3 "$@" fleet.db
}

name_of() {
    printf 'site-%03d' "$1"
}

start_fleet() {
    echo "Starting $fleet_size lab appliances"
    mkdir "$folder"
    # A short list: each appliance makes its vendor database of it
    echo "00:1A:2B Vendor" >"$folder/vendors.txt"
    : >"$folder/appliances.tsv"
    for number in $(seq "$fleet_size"); do
        root=$work/$number # short: sockets lie below it
        mkdir "$root"
        VIGIL_ROOT=$root vigil-lab --sessions "$((200 + number % 7 * 50))" --seed "$number" \
            --vendors "$folder/vendors.txt" >"$folder/$number.ready" 2>"$folder/$number.errors" &
        echo $! >"$folder/$number.pid"
        fleet="$fleet $!"
        printf '%s\t%s\n' "$(name_of "$number")" "$root" >>"$folder/appliances.tsv"
    done
    for number in $(seq "$fleet_size"); do
        waited=0
        until [ -s "$folder/$number.ready" ]; do
            waited=$((waited + 1))
            kill -0 "$(cat "$folder/$number.pid")" 2>/dev/null && [ "$waited" -le 1200 ] || {
                cat "$folder/$number.errors" >&2
                give_up "appliance $number does not serve"
            }
            sleep 0.1
        done
    done
    kill -STOP "$(cat "$folder/2.pid")"
    kill "$(cat "$folder/3.pid")"
    wait "$(cat "$folder/3.pid")" || true
    echo "$(name_of 2) hangs and $(name_of 3) does not serve"
}

# Stands in for ssh: "ssh OPTIONS HOST COMMAND" runs the command in a shell of its own at the appliance of that name.
stand_in_for_ssh() {
    mkdir "$folder/bin"
    cat >"$folder/bin/ssh" <<'SSH'
#!/bin/sh
while :; do
    case $1 in
    -o | -l) shift 2 ;;
    -*) shift ;;
    *) break ;;
    esac
done
root=$(awk -F '\t' -v name="$1" '$1 == name { print $2 }' "$FLEET")
shift
[ "$1" != -- ] || shift
exec env -u VIGIL_TIMEOUT VIGIL_ROOT="$root" sh -c "$*"
SSH
    chmod +x "$folder/bin/ssh"
    FLEET=$folder/appliances.tsv
    PATH=$folder/bin:$PATH
    export FLEET PATH
}

# Into a database; two are named with the reason, every other appliance is there with all its rows.
load_and_look() {
    rm -f fleet.db
    block rows | sql
    echo
    show_block failed
    sql -box <failed
    echo
    show_block talkers
    sql -box <talkers
    failed=$(block failed | sql | cut -d '|' -f 1 | tr '\n' ' ')
    [ "$failed" = "$(name_of 2) $(name_of 3) " ] || fleet_fault "failed: $failed"
    [ "$(sql -cmd "select failure from asked where appliance = '$(name_of 2)'" </dev/null)" = timeout ] ||
        fleet_fault "the appliance that hangs has another reason"
    complete=$(echo "select count(*) from asked where failure is null and printed = total and total > 0;" | sql)
    [ "$complete" -eq $((fleet_size - 2)) ] || fleet_fault "$complete appliances are complete"
    [ "$(echo "select count(*) from flows;" | sql)" = "$(echo "select sum(total) from asked;" | sql)" ] ||
        fleet_fault "rows are missing"
}

show_fleet() {
    cd "$folder"
    echo
    show_block ask
    began=$(date +%s)
    sh ask
    took=$(($(date +%s) - began))
    echo "asked $fleet_size appliances in $took seconds"
    load_and_look

    echo
    echo "The same over ssh (a stand-in here, which runs the command in a shell of its own):"
    stand_in_for_ssh
    cut -f 1 appliances.tsv >hosts
    mv answers.tsv local.tsv
    show_block ask-ssh
    sh ask-ssh
    echo "select * from flows order by appliance, ip;" | sql >local.rows
    load_and_look >/dev/null
    echo "select * from flows order by appliance, ip;" | sql | cmp - local.rows || fleet_fault "other rows over ssh"

    echo
    echo "What a stranger typed is read by no shell:"
    typed="10.0.0.1'; touch $folder/harm; \$(touch $folder/harm) &"
    export typed
    show_block ask-typed
    sh ask-typed
    sort typed.tsv | head -n 3
    [ ! -e "$folder/harm" ] || fleet_fault "what was typed was run"
    # one does not serve
    [ "$(grep -c '"INV_ARG"' typed.tsv)" -eq $((fleet_size - 1)) ] || fleet_fault "what was typed was not refused"
    [ "$fleet_faults" -eq 0 ] || give_up "$fleet_faults faults"
    echo
    echo "$complete of $fleet_size appliances answered in full, locally and over ssh; the others are named: $failed"
}

# GNU parallel asks the hosts through it, and guesses where it is not set.
SHELL=/bin/sh
export SHELL
start_fleet
show_fleet
