#!/usr/bin/env bash
# Reports beside their peers on equal flows: nfdump, mawk | sort, sqlite3, openssl and the cheapest possible walk.
#   bench/reports.sh [COUNT …]      sessions, default 100000 1000000
. "$(dirname "$0")/common.sh"
counts=${*:-100000 1000000}
top10="$vigil ipobj listflow sort=byte json=1 limit=10"

# make_flows COUNT NAME [gen_flows options]: NAME.rec, NAME.nf and NAME.csv hold the same flows
make_flows() {
  python3 "$here/gen_flows.py" --count "$1" --records "$work/$2.rec" --nfdump "$work/$2.nf" --csv "$work/$2.csv" "${@:3}"
}

# Ten addresses and their totals from either side; the times mean nothing when they differ.
compare_top10() {
  $top10 | grep -oE '"ip":"[^"]*"|"(up|down)bytes":[0-9]+' | paste - - - |
    sed -E 's/"ip":"([^"]*)"\t"upbytes":([0-9]+)\t"downbytes":([0-9]+)/\1 \2 \3/' |
    awk '{print $1, $2 + $3}' >"$work/a"
  nfdump -r "$work/$1.nf" -s dstip/bytes -n 10 -o csv 2>/dev/null | awk -F, '$5 ~ /^[0-9]+\./ {print $5, $10}' >"$work/b"
  cmp "$work/a" "$work/b" || { paste "$work/a" "$work/b"; echo "the two sides disagree on $1" >&2; exit 1; }
}

# The same ten lines by what a shell has at hand.
shell_peers() {
  cat >"$work/mawk.sh" <<SH
mawk -F, '{b[\$2] += \$7} END {for (k in b) printf "%.0f %s\\n", b[k], k}' $work/$1.csv | sort -rn 2>/dev/null | head
SH
  cat >"$work/sqlite.sh" <<SH
sqlite3 :memory: <<'SQL'
CREATE TABLE f(src,dst,sport INT,dport INT,proto INT,packets INT,bytes INT,a INT,b INT);
.mode csv
.import $work/$1.csv f
SELECT dst,sum(bytes) s FROM f GROUP BY dst ORDER BY s DESC LIMIT 10;
SQL
SH
}

for count in $counts; do
  make_flows "$count" "$count"
  start_daemon "$work/$count.rec"
  pairs=15
  nf="nfdump -r $work/$count.nf"
  compare_top10 "$count"
  echo "-- $count sessions"
  pair --pairs $pairs --goal 0.5 --label "top 10 destinations / nfdump" "$top10" "$nf -s dstip/bytes -n 10 -o csv"
  pair --pairs $pairs --goal 0.5 --label "dport=443 by bytes / nfdump" \
    "$vigil ipobj listbussflow sort=bytes dport=443 limit=100" "$nf -O bytes -n 100 -o line 'dst port 443'"
  pair --pairs $pairs --goal "0.3, memory 0.1" --label "by bytes, first 100 / nfdump" \
    "$vigil ipobj listbussflow sort=bytes limit=100" "$nf -O bytes -n 100 -o line"
  pair --pairs 5 --goal 0.9 --label "every row as text / nfdump" \
    "$vigil ipobj listbussflow count=$count limit=$count" "$nf -o line"
  pair --pairs $pairs --goal "3.5, wall 1.35" --label "listflow / cheapest walk" "$top10" \
    "$work/floor $socket 1024 walk"
  shell_peers "$count"
  pair --pairs 5 --label "top 10 / mawk and sort" "$top10" "sh $work/mawk.sh"
  if command -v sqlite3 >/dev/null; then
    pair --pairs 3 --label "top 10 / sqlite3" "$top10" "sh $work/sqlite.sh"
  fi
  pair --pairs $pairs --goal 1.05 --label "a listing with TZ unset / set" \
    "env -u TZ $vigil ipobj listbussflow sort=bytes limit=100" \
    "env TZ=CST-8 $vigil ipobj listbussflow sort=bytes limit=100"
done

echo "-- 1000000 sessions, 306,401 destinations"
make_flows 1000000 wide --dsts 350000
start_daemon "$work/wide.rec"
compare_top10 wide
pair --goal 0.6 --label "top 10 destinations / nfdump" "$top10" "nfdump -r $work/wide.nf -s dstip/bytes -n 10 -o csv"
