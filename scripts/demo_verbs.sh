# Every verb that is built, for scripts/demo.sh, which sources this file when its appliance serves.
#   shows COMMAND          must print something; an empty list is nothing. With traffic of one's own (LAB_ARGUMENTS) that
#                          may have none of it, which is said
#   prints WORD COMMAND    must print the word
#   hides WORD COMMAND     must not print the word
#   takes COMMAND          must succeed; says what it likes
faults=0
verbs=0
empty=0
fault() {
    echo "FAULT: vigil $*" >&2
    faults=$((faults + 1))
}
run() {
    verbs=$((verbs + 1))
    status=0
    vigil "$@" >"$work/shown" || status=$?
    echo
    echo "\$ vigil $*"
    iconv -c -f GBK -t UTF-8 <"$work/shown" | cut -c 1-200 | head -n 4
}
succeeds() {
    run "$@"
    [ "$status" -eq 0 ] || fault "$* (status $status)"
}
takes() {
    succeeds "$@"
}
shows() {
    succeeds "$@"
    if [ ! -s "$work/shown" ] || ! tr -d ' \n' <"$work/shown" | grep -q . ||
        grep -qE '"(data|list)":\[\]|^\[\]$|"total":0\}|^ ?total 0$' "$work/shown"; then
        empty=$((empty + 1))
        if [ -n "${LAB_ARGUMENTS:-}" ]; then
            echo "(nothing of this in the traffic)"
        else
            fault "$* (empty)"
        fi
    fi
}
prints() {
    word=$1
    shift
    succeeds "$@"
    grep -qF -- "$word" "$work/shown" || fault "$* (without $word)"
}
hides() {
    word=$1
    shift
    succeeds "$@"
    ! grep -qF -- "$word" "$work/shown" || fault "$* (still $word)"
}
# Some verbs return the number of records as their status.
counts() {
    run "$@"
    [ "$status" -lt 255 ] && [ -s "$work/shown" ] || fault "$* (status $status)"
}

# Below the root, so that a recording knows the requests that name them below any other root
lists=$VIGIL_ROOT/log
mkdir -p "$lists"

# The analysis daemon
shows module list
shows module stat
shows keytbl list
shows obslog stat
takes obslog get
counts obsquery stat
counts worker stat
shows worker list
counts worker add taskname=demo
prints demo worker list
shows disk stat
shows obssegdelay stat
takes obssegdelay set limit=100
shows condtunnel stat
takes applevel list

# Asset groups and objects, by either daemon
for two in '' 2; do
    takes assetsgroup$two add id=77 name=demo-group
    [ -n "$two" ] || prints demo-group assetsgroup list
    [ -z "$two" ] || prints demo-group assetsgroup2 list
    takes assetsgroup$two set id=77 name=demo-renamed
    prints demo-renamed assetsgroup$two list
    shows assetsgroup$two stat
    takes assetsgroup$two remove id=77
    hides demo-renamed assetsgroup$two list
    takes assetsobj$two add id=777 name=demo-asset ip=10.99.0.1
    takes assetsobj$two set id=777 name=demo-changed
    shows assetsobj$two stat
    [ -n "$two" ] || prints demo-changed assetsobj list limit=10000
    [ -n "$two" ] || prints demo-changed assetsobj get id=777
    takes assetsobj$two remove id=777
done
hides demo-changed assetsobj list limit=10000
shows assetsobj list limit=5
echo "id=778 name=demo-loaded ip=10.99.0.2" >"$lists/assets.txt"
takes assetsobj load file="$lists/assets.txt"

# IP tables
takes table addip 9 10.98.0.1 info=demo
prints 10.98.0.1 table get tid=9
takes table rmvip 9 10.98.0.1
hides 10.98.0.1 table get tid=9
echo "10.98.1.0/30 demo" >"$lists/addresses.txt"
takes table loadfile 9 file="$lists/addresses.txt"
prints 10.98.1. table getcmp 9
takes table clear 9
hides 10.98.1. table get tid=9
takes obsiptable addip tid=8 ip=10.97.0.1 info=demo
prints 10.97.0.1 obsiptable get tid=8
takes obsiptable loadfile tid=8 file="$lists/addresses.txt"
prints 10.98.1. obsiptable getcmp tid=8
takes obsiptable remove tid=8 ip=10.97.0.1
hides 10.97.0.1 obsiptable get tid=8
takes obsiptable clear tid=8
takes obstable add id=99 name=demo-table
prints demo-table obstable list
takes obstable set id=99 name=demo-other
prints demo-other obstable list
shows obstable stat
shows obstable get
takes obstable remove id=99
hides demo-other obstable list
takes obsdnsgrp add id=99 name=demo-names
takes obsdnsgrp set id=99 name=demo-hosts
prints demo-hosts obsdnsgrp list
shows obsdnsgrp stat
echo "a.demo.example" >"$lists/names.txt"
takes obsdnsgrp load id=99 file="$lists/names.txt"
prints a.demo.example obsdnsgrp get id=99
echo "b.demo.example" >"$lists/names.txt"
takes obsdnsgrp loadfile id=99 file="$lists/names.txt"
prints b.demo.example obsdnsgrp dumpgrp 99
takes obsdnsgrp remove id=99
hides demo-hosts obsdnsgrp list
shows whiteip list
shows whiteip stat
shows whiteip get
takes whiteip config id=1 name=demo addr=10.0.0.1
for list in tunwltable dnstunwltable; do
    shows $list list page=1 limit=10
    first=$(sed -n 's/^{"data":\["\([^"]*\)".*/\1/p' "$work/shown")
    if [ -n "$first" ]; then
        takes $list remove "ip=$first"
        hides "\"$first\"" $list list page=1 limit=100
    fi
done

# Traffic
shows ipobj listbussflow limit=5
shows ipobj listflow limit=5 json=1
shows ipobj listipa
shows tcpreset list page=1 limit=5
shows tcpreset listip page=1 limit=5 type=src
shows tcpreset listdns page=1 limit=5
shows outconnect listflow page=1 limit=5
shows outconnect caluflow page=1 limit=5 json=1
shows dnsflow listflow page=1 limit=5
shows dnsflow caluflow page=1 limit=5 json=1
shows dnstuncheck stat
counts mysqlrd stat
if grep -q '^sessions=0 ' "$work/shown"; then # no database in this world
    takes mysqlrd list
else
    counts mysqlrd list
fi
takes mysqlrd config limit=5

# Security
for log in obssyslog obssshlog obstlslog obsnetbios; do
    shows $log list page=1 limit=5
    shows $log stat
    takes $log config max=1000
done
shows malclog list show_flowlog=1 show_malc=1 limit=5
shows malcip list limit=5
shows nevt list json=1
shows nevtlog list json=1 page=1 limit=5
takes nevtlog config id=1 limit=1000
takes nevtlog remove id=999
shows netev_chart list
shows netev_chart stat
shows netev_session stat
shows kesidslog list page=1 limit=5
shows kesidslog listflow page=1 limit=5
shows idssum list page=1 limit=5
signature=$(sed -n 's/^{"data":\[{"sid":\([0-9]*\), "catagore":\([0-9]*\),.*/cata_id=\2 sid=\1/p' "$work/shown")
shows idssum stat
if [ -n "$signature" ]; then
    takes idssum config "${signature% *}" cata_enable=0
    takes idssum remove "${signature% *}" "${signature#* }"
    hides "{\"sid\":${signature##*=}," idssum list limit=1000
fi

# The operator's picture of the network
prints id=200 obstopogrp add id=200 pid=0 title=demo-site
prints demo-site obstopogrp list
takes obstopogrp config id=200 title=demo-campus
prints demo-campus obstopogrp list
shows obstopogrp stat
takes obstopogrp remove id=200
hides demo-campus obstopogrp list
takes obstopo add id=900 gid=0 name=demo-node ip=10.95.0.1
takes obstopo add id=901 gid=0 name=demo-peer ip=10.95.0.2
takes obstopo config id=900 name=demo-switch
prints demo-switch obstopo list
shows obstopo stat
takes obstplink add id=950 from=900 to=901
takes obstplink config id=950 name=demo-link
takes obstplink set id=950 name=demo-line
prints demo-line obstplink list
shows obstplink stat
takes obstplink remove id=950
takes obstopo remove id=900
hides demo-switch obstopo list
takes obsnetbrch add id=150 name=demo-branch ip=10.94.0.0/24
prints demo-branch obsnetbrch list
takes obsnetbrch config id=150 name=demo-office
shows obsnetbrch stat
takes obsnetbrch remove id=150
hides demo-office obsnetbrch list

# Capture and reassembly
shows mempcap stat
takes mempcap add id=1 name=demo
shows mempcap list
takes mempcap set id=1 name=demo2
shows mempcap get
takes mempcap config max=10
shows mempcap dump
takes mempcap remove id=1
takes obspcap init file="$work/ring" count=2 bs=1
takes obspcap save of="$work/saved.pcap"
[ -s "$work/saved.pcap" ] || fault "obspcap save (no capture)"
shows hostinfo list count=5
shows hostinfo stat
takes hostinfo config
takes obsreasslog config limit=10
shows obsreasslog stat
takes obsreasspkt add id=1 name=demo ip=10.0.0.1
takes obsreasspkt set id=1 name=demo2
shows obsreasspkt get
shows obsreasspkt stat
shows obsreasspkt debug
takes obsreasspkt disable id=1
takes obsreasspkt remove id=1
takes obsreasslog add id=2 name=demo ip=10.0.0.2
takes obsreasslog set id=2 name=demo2
prints demo2 obsreasslog get
takes obsreasslog debug
takes obsreasslog disable id=2
takes obsreasslog remove id=1

# Charts
shows chart rowlist
shows chart dump hours=1 json=1
shows chart timesum
shows qtde stat
takes qtde config limit=10

echo
echo "$verbs command lines, $empty of them with nothing to show, $faults faults"
[ "$faults" -eq 0 ]
