#!/usr/bin/env bash
# Every other list report at 100,000 records beside the cheapest walk over as many bytes, and the vendor database
# beside openssl. The records are random bytes below the counts: what is read is what costs, not what it means.
. "$(dirname "$0")/common.sh"
count=${1:-100000}

# walk LABEL RECORD-SIZE SEGMENT-KIB COMMAND…
walk() {
  python3 - "$work/records" "$count" "$2" <<'PY'
import random, sys
path, count, size = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
some = [bytes(b & 0x3F for b in random.Random(i).randbytes(size)) for i in range(997)]
with open(path, "wb") as out:
    for i in range(count):
        out.write(some[i * 31 % 997])
PY
  start_daemon "$work/records" "$2"
  sessions=$((count * $2 / 228)) # the bare walk reads 228-byte records: as many bytes
  head -c $((sessions * 228)) "$work/records" >"$work/walked"
  mkdir -p "$work/other"
  "$work/replay" "$work/other/walk" "$work/walked" &
  other=$!
  while [ ! -S "$work/other/walk" ]; do sleep 0.02; done
  pair --goal 4 --label "$1" "$vigil ${*:4}" "$work/floor $work/other/walk $3 walk"
  kill $other; wait $other 2>/dev/null || true
}

walk "tcpreset list (every line)"  64 2048 tcpreset list
walk "ipobj listipa (every line)"  64 2048 ipobj listipa
walk "tcpreset listip"         64 2048 tcpreset listip sort=flowcnt order=asc row=1-10
walk "tcpreset listdns"        64 2048 tcpreset listdns sort=flowcnt order=desc row=1-10
walk "outconnect listflow"    252 2048 outconnect listflow
walk "outconnect caluflow"    252 1024 outconnect caluflow sort=byte json=1
walk "dnsflow caluflow"       252 1024 dnsflow caluflow sort=byte ischina=-1
walk "obssyslog list"         356   64 obssyslog list
walk "obstlslog list"         104   64 obstlslog list
walk "nevtlog list"           304  256 nevtlog list json=1 page=1 limit=10
walk "nevtlog list showsum"   304  256 nevtlog list json=1 showsum=1
walk "kesidslog listflow"      24   64 kesidslog listflow
walk "assetsobj list"         848 2048 assetsobj list limit=10
walk "hostinfo list"          120 2048 hostinfo list count=10
walk "whiteip get"             92   64 whiteip get limit=10
walk "whiteip list"            24  256 whiteip list limit=10

if [ -x "$build/tools/vigil-ouidb" ] && [ -f /usr/share/ieee-data/oui.txt ]; then
  key=$(sed -n 's/^VIGIL_OUI_KEY:STRING=//p' "$build/CMakeCache.txt")
  "$build/tools/vigil-ouidb" make /usr/share/ieee-data/oui.txt "$VIGIL_ROOT/usr/ramdisk/etc/oui.dat"
  head -c 104000 /dev/zero >"$work/records"
  start_daemon "$work/records" 104
  pair --pairs 50 --goal 1.3 --label "a log page with vendor names / openssl" "$vigil obstlslog list" \
    "openssl enc -d -aes-128-ecb -nopad -K $key -in $VIGIL_ROOT/usr/ramdisk/etc/oui.dat -out /dev/null"
fi
