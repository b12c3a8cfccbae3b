#!/bin/bash
# Makes a small capture of real programs talking to each other in two network namespaces; nothing leaves the
# machine. Needs root, iproute2, tcpdump, curl, openssl, python3, logger and ssh-keyscan.
# Usage: lab/make_sample_capture.sh OUTPUT.pcap
set -euo pipefail
output=${1:?usage: $0 OUTPUT.pcap}
here=$(cd "$(dirname "$0")" && pwd)
client=vigil-client-$$ server=vigil-server-$$
work=$(mktemp -d /tmp/vigil.XXXXXX)
pids=()

end() {
    for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
    ip netns del "$client" 2>/dev/null || true
    ip netns del "$server" 2>/dev/null || true
    rm -rf "$work" "/etc/netns/$client"
}
trap end EXIT

on_client() { ip netns exec "$client" "$@"; }
on_server() { ip netns exec "$server" "$@"; }
serve() { # runs a server until the end
    ip netns exec "$server" "$@" >>"$work/servers.log" 2>&1 &
    pids+=($!)
}

# Two hosts on one wire, with network cards of known makers.
ip netns add "$client"
ip netns add "$server"
ip -n "$client" link add eth0 address 00:1b:21:3a:40:05 type veth peer name eth0 netns "$server" \
    address 3c:52:82:11:22:10
ip -n "$client" address add 10.20.0.5/24 dev eth0
ip -n "$client" address add fd00:20::5/64 dev eth0 nodad
for address in 10.20.0.53/24 203.0.113.10/32 198.51.100.20/32; do
    ip -n "$server" address add "$address" dev eth0
done
ip -n "$server" address add 2001:db8:20::10/128 dev eth0 nodad
for host in "$client" "$server"; do
    ip -n "$host" link set lo up
    ip -n "$host" link set eth0 up
done
for network in 203.0.113.0/24 198.51.100.0/24 2001:db8:20::/64; do
    ip -n "$client" route add "$network" dev eth0
done
ip -n "$server" route add fd00:20::/64 dev eth0
mkdir -p "/etc/netns/$client"
echo "nameserver 10.20.0.53" >"/etc/netns/$client/resolv.conf"

# The servers.
mkdir "$work/files"
echo "hello from the lab" >"$work/files/index.html"
head -c 24000 /dev/zero | tr '\0' 'v' >"$work/files/large.bin"
openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 3650 \
    -subj /CN=shop.lab.example -keyout "$work/key.pem" -out "$work/cert.pem" 2>/dev/null
serve python3 "$here/sample_traffic.py" dns 10.20.0.53
serve python3 "$here/sample_traffic.py" greeting 198.51.100.20 22 SSH-2.0-lab_1.0
serve python3 -m http.server 80 --bind :: --directory "$work/files"
serve openssl s_server -accept 443 -www -cert "$work/cert.pem" -key "$work/key.pem"

# What they listen on must be there before the first packet is captured.
for port in 22 53 80 443; do
    for _ in $(seq 100); do
        on_server ss -Hltun "sport = :$port" | grep -q . && break
        sleep 0.05
    done
done
ip netns exec "$client" tcpdump -i eth0 -s 65535 -w "$output" -Z root --immediate-mode 2>"$work/tcpdump.log" &
capture=$!
until grep -q listening "$work/tcpdump.log"; do sleep 0.05; done

# The traffic.
on_client curl -s -4 http://www.lab.example/ >/dev/null
on_client curl -s -6 http://www.lab.example/large.bin >/dev/null
on_client curl -s -4 http://files.lab.example/missing.html >/dev/null
on_client curl -s -k -4 https://shop.lab.example/ >/dev/null
on_client openssl s_client -connect 203.0.113.10:443 -servername old.lab.example -tls1_2 </dev/null \
    >/dev/null 2>&1
on_client openssl s_client -6 -connect '[2001:db8:20::10]:443' -servername shop.lab.example </dev/null \
    >/dev/null 2>&1
on_client ssh-keyscan -T 1 files.lab.example >/dev/null 2>&1 || true
on_client curl -s -4 http://www.lab.example:81/ >/dev/null || true # refused
on_client curl -s http://nowhere.lab.example/ >/dev/null || true   # no such name
on_client python3 "$here/sample_traffic.py" abort 198.51.100.20 80
on_client logger --server 10.20.0.53 --udp --port 514 --tag lab "disk usage \"91%\" on C:\\data"
on_client python3 "$here/sample_traffic.py" netbios 10.20.0.53 FILESERVER1
on_client python3 "$here/sample_traffic.py" large-datagram 198.51.100.20 9999 4000
on_client python3 "$here/sample_traffic.py" ping 203.0.113.10 3
on_client python3 "$here/sample_traffic.py" ping 2001:db8:20::10 3

sleep 0.5 # the last answers
kill "$capture"
wait "$capture" || true
