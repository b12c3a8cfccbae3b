#!/bin/sh
# Real programs that talk to each other on the loopback interface of a network namespace of their own, as hosts of a
# small network would, until the process PID ends. Run by whoever is root in that namespace and in one of mounts:
#   unshare --user --map-root-user --net --mount lab/talk.sh FOLDER PID
# Needs iproute2 and python3; curl, openssl, ssh-keyscan and logger talk where they are installed.
set -eu
folder=${1:?usage: $0 FOLDER PID}
until=${2:?usage: $0 FOLDER PID}
here=$(cd "$(dirname "$0")" && pwd)
exec </dev/null >"$folder/talk.log" 2>&1

servers=
serve() { # runs a server until the end
    "$@" &
    servers="$servers $!"
}
trap 'kill $servers 2>/dev/null || true' EXIT
trap 'exit 0' INT TERM

# One client, and servers inside and outside; the kernel answers for all of them.
client=10.20.0.5 client6=fd00:20::5
ip link set lo up
ip address add $client/32 dev lo
ip address add $client6/128 dev lo nodad
for address in 10.20.0.53 203.0.113.10 198.51.100.20; do
    ip address add $address/32 dev lo
    ip route replace local $address dev lo table local proto kernel scope host src $client
done
ip address add 2001:db8:20::10/128 dev lo nodad
echo "nameserver 10.20.0.53" >"$folder/resolv.conf"
mount --bind "$folder/resolv.conf" /etc/resolv.conf

mkdir "$folder/files"
echo "hello from the lab" >"$folder/files/index.html"
head -c 240000 /dev/zero | tr '\0' 'v' >"$folder/files/large.bin"
sample() { python3 "$here/sample_traffic.py" "$@"; }
serve python3 "$here/sample_traffic.py" dns 10.20.0.53
serve python3 "$here/sample_traffic.py" greeting 198.51.100.20 22 SSH-2.0-lab_1.0
serve python3 -m http.server 80 --bind :: --directory "$folder/files"
has() { command -v "$1" >/dev/null; }
if has openssl; then
    openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 1 \
        -subj /CN=shop.lab.example -keyout "$folder/key.pem" -out "$folder/cert.pem"
    serve openssl s_server -accept 443 -www -cert "$folder/cert.pem" -key "$folder/key.pem"
fi

fetch() {
    if has curl; then
        curl -s -k -m 5 -o /dev/null "$@"
    else
        python3 -c 'import sys, urllib.request; urllib.request.urlopen(sys.argv[-1], timeout=5).read()' "$@"
    fi
}
round=0
while kill -0 "$until"; do
    round=$((round + 1))
    case $((round % 10)) in
    0) sample abort 198.51.100.20 80 ;;
    1 | 6) fetch -4 http://www.lab.example/ ;;
    2) fetch -4 http://www.lab.example/large.bin ;;
    3) fetch --interface $client6 -6 http://www.lab.example/large.bin ;;
    4) fetch -4 https://shop.lab.example/ ;;
    5) fetch -4 http://files.lab.example/missing.html ;;
    7) ! has ssh-keyscan || ssh-keyscan -T 1 files.lab.example ;;
    8) ! has logger || logger --server 10.20.0.53 --udp --port 514 --tag lab "round $round" ;;
    9) sample ping 203.0.113.10 1 ;;
    esac || true # who is refused goes on
    sleep 0.2
done
