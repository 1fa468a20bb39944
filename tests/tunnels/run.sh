#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Reaches a register server through ssh and through stunnel, as docs/security.md describes it. Checks that a client
# without the right key or certificate does not reach the server. All programs run as the current user, with keys that
# the script makes.
# Usage: run.sh BUILD_FOLDER. Ends with a line of totals.
set -u -o pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "$1" && pwd) || exit
. "$root/scripts/common.sh"
. "$root/scripts/checks.sh"
suite=tunnels
trap '{ kill $(jobs -p); wait; } 2>/dev/null; rm -rf "$work"' EXIT
unset RYNVEL_MAPS RYNVELCTL_REMOTE ZILTRACE SSH_AUTH_SOCK

# Waits until a file contains a text. Fails after 600 attempts 50 ms apart, or as soon as the process that writes the
# file has ended. The arguments are the file, the text and the ID of the process.
await() {
    local i
    for ((i = 0; i < 600; i++)); do
        ! grep -qsF "$2" "$1" || return 0
        kill -0 "$3" 2>/dev/null || break
        sleep 0.05
    done
    return 1
}

# Starts a program that listens on a port of 127.0.0.1. Tries further ports if a port is in use. Sets `port` and
# `started`, the process. The arguments are the file for the messages, the message of a program that listens, and the
# command, in which PORT is the port.
listen() {
    local log=$1 message=$2 i
    shift 2
    for ((i = 0; i < 20; i++)); do
        port=$((20000 + RANDOM % 12000))
        rm -f "$log"
        "${@//PORT/$port}" >"$log" 2>&1 &
        started=$!
        ! await "$log" "$message" $started || return 0
        { kill $started && wait $started; } 2>/dev/null
    done
    cat "$log"
    return 1
}

start_server() {
    "$build/server/rynveld" --simulate --listen 127.0.0.1:0 2>"$work/server" &
    await "$work/server" 'listening on ' $! &&
        server_port=$(sed -n 's/.* listening on 127.0.0.1:\([0-9]*\),.*/\1/p' "$work/server") && [ -n "$server_port" ]
}

# Runs rynvelctl on the server at a local port, which is the first argument.
ctl() { "$build/tools/rynvelctl" --timeout 20s --remote "127.0.0.1::$1" "${@:2}"; }

# Succeeds if a client at a port can read, write and receive interrupts. A different value in each call shows that the
# value comes from this client.
serves() {
    local value=$((RANDOM + 1))
    ctl "$1" write rtc0 0 $value && [ "$(ctl "$server_port" read rtc0 0 --base 10 --quiet)" = $value ] &&
        [ "$(ctl "$1" read rtc0 0 --base 10 --quiet)" = $value ] && ctl "$1" irq rtc0 raise $value &&
        [ "$(ctl "$1" wait rtc0 --format '%v' --base 10)" = $value ]
}

# Succeeds if a client at a port fails to read a register.
serves_nothing() { ! ctl "$1" read rtc0 0; }

# ssh -----------------------------------------------------------------------------------------------------------------

ssh_with_key() {
    timeout 60 ssh -F none -o IdentityFile="$work/$1" -o IdentitiesOnly=yes -o BatchMode=yes \
        -o UserKnownHostsFile="$work/known_hosts" -o StrictHostKeyChecking=yes -o ExitOnForwardFailure=yes \
        -p "$ssh_port" "${@:2}"
}

user=$(id -un)

# Writes the accounts of this machine and the user sshd. Only an installation of sshd creates this user.
make_accounts() {
    { grep -v '^sshd:' /etc/passwd && echo 'sshd:x:65534:65534::/run/sshd:/usr/sbin/nologin'; } >"$work/passwd"
}

# Replaces the process with sshd. As root, sshd needs its user and the folder /run/sshd. They exist only in the mount
# namespace of sshd, so this machine does not change.
run_sshd() {
    local program="$unpacked_root/usr/sbin/sshd"
    [ "$(id -u)" = 0 ] || exec "$program" "$@"
    exec unshare --mount sh -c 'mount --bind "$0" /etc/passwd && mount -t tmpfs run /run && mkdir -m 755 /run/sshd &&
        exec "$@"' "$work/passwd" "$program" "$@"
}

# Permits only the key `operator`. A client with the address 127.0.0.2 may also connect to local sockets, other clients
# only to the register server. sshd permits local sockets only if it permits all ports.
start_sshd() {
    local key
    for key in host operator stranger; do
        ssh-keygen -q -t ed25519 -N '' -f "$work/$key" || return
    done
    cp "$work/operator.pub" "$work/authorized_keys"
    cat >"$work/sshd_config" <<-END
	HostKey $work/host
	AuthorizedKeysFile $work/authorized_keys
	AuthenticationMethods publickey
	StrictModes no
	UsePAM no
	PidFile none
	AllowTcpForwarding local
	PermitOpen 127.0.0.1:$server_port
	AllowStreamLocalForwarding no
	AllowAgentForwarding no
	PermitTTY no
	ForceCommand /bin/false
	Match Address 127.0.0.2
	    AllowStreamLocalForwarding local
	    PermitOpen any
	END
    [ "$(id -u)" != 0 ] || make_accounts || return
    listen "$work/sshd" 'Server listening on 127.0.0.1' run_sshd -D -e -f "$work/sshd_config" \
        -o ListenAddress=127.0.0.1:PORT && ssh_port=$port &&
        printf '[127.0.0.1]:%s %s\n' "$ssh_port" "$(cat "$work/host.pub")" >"$work/known_hosts"
}

# Forwards a port to the server. Sets `port`.
forward() {
    listen "$work/ssh" 'Entering interactive session' ssh_with_key operator -v -N \
        -L "127.0.0.1:PORT:127.0.0.1:$server_port" "$user@127.0.0.1"
}

serves_through_ssh() { forward && serves "$port" && kill $started; }

# Runs rynvelctl on a local socket, which is the first argument.
local_ctl() { "$build/tools/rynvelctl" --timeout 20s --remote "unix:$1" "${@:2}"; }

# Both sockets must have the mode 600, so that no other user can connect.
serves_through_local_sockets() {
    local far="$work/far.sock" near="$work/near.sock" forwarding
    "$build/server/rynveld" --simulate --listen "unix:$far" 2>"$work/local_server" &
    await "$work/local_server" "listening on $far" $! || return
    ssh_with_key operator -b 127.0.0.2 -v -N -L "$near:$far" "$user@127.0.0.1" 2>"$work/ssh" &
    forwarding=$!
    await "$work/ssh" 'Entering interactive session' $forwarding || { cat "$work/ssh"; return 1; }
    local_ctl "$near" write rtc0 0 4711 && [ "$(local_ctl "$far" read rtc0 0 --base 10 --quiet)" = 4711 ] &&
        [ "$(stat -c %a "$far" "$near")" = $'600\n600' ] && kill $forwarding
}

refuses_another_key() {
    ! ssh_with_key stranger -N "$user@127.0.0.1" 2>"$work/ssh" && grep 'Permission denied (publickey)' "$work/ssh"
}

refuses_another_host() {
    local known
    known=$(cat "$work/known_hosts")
    printf '[127.0.0.1]:%s %s\n' "$ssh_port" "$(cat "$work/stranger.pub")" >"$work/known_hosts"
    ! ssh_with_key operator -N "$user@127.0.0.1" 2>"$work/ssh"
    local status=$?
    printf '%s\n' "$known" >"$work/known_hosts"
    [ $status = 0 ] && grep 'Host key verification failed' "$work/ssh"
}

refuses_other_ports_and_commands() {
    ! ssh_with_key operator -W "127.0.0.1:$ssh_port" "$user@127.0.0.1" </dev/null 2>"$work/ssh" &&
        grep 'administratively prohibited' "$work/ssh" &&
        ! ssh_with_key operator -R "127.0.0.1:0:127.0.0.1:$ssh_port" -N "$user@127.0.0.1" 2>"$work/ssh" &&
        grep 'remote port forwarding failed' "$work/ssh" &&
        ! ssh_with_key operator "$user@127.0.0.1" "touch '$work/command'" && [ ! -e "$work/command" ]
}

# stunnel -------------------------------------------------------------------------------------------------------------

# Makes a certificate that an authority has signed. The request asks for the name node1 and the rights of an authority,
# which the authority ignores. The arguments are the authority and the name of the owner.
make_certificate() {
    openssl req -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -keyout "$work/$2.key" -subj "/CN=$2" \
        -addext subjectAltName=DNS:node1 -addext basicConstraints=critical,CA:TRUE -out "$work/$2.csr" &&
        printf 'basicConstraints=critical,CA:FALSE\nsubjectAltName=DNS:%s\n' "$2" >"$work/$2.ext" &&
        openssl x509 -req -in "$work/$2.csr" -CA "$work/$1.pem" -CAkey "$work/$1.key" -CAcreateserial -days 2 \
            -extfile "$work/$2.ext" -out "$work/$2.pem" &&
        ! openssl x509 -in "$work/$2.pem" -noout -text | grep 'CA:TRUE'
}

make_authority() {
    openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -keyout "$work/$1.key" -subj "/CN=$1" \
        -days 2 -out "$work/$1.pem"
}

make_certificates() {
    make_authority authority && make_authority another && make_certificate authority node1 &&
        make_certificate authority console1 && make_certificate another console2 && make_certificate another node2
}

# Starts stunnel with a service. Sets `port` and `started`, the process. The arguments are the name of the configuration
# file and the lines of the service.
start_stunnel() {
    local name=$1 i
    shift
    for ((i = 0; i < 20; i++)); do
        port=$((20000 + RANDOM % 12000))
        printf '%s\n' 'foreground = yes' 'pid =' 'debug = info' '[rynveld]' "accept = 127.0.0.1:$port" "$@" \
            >"$work/$name.conf"
        rm -f "$work/$name"
        "$unpacked_root/usr/bin/stunnel" "$work/$name.conf" >"$work/$name" 2>&1 &
        started=$!
        ! await "$work/$name" 'Configuration successful' $started || return 0
        { kill $started && wait $started; } 2>/dev/null
    done
    cat "$work/$name"
    return 1
}

# Starts the server's end of stunnel, and sets `tls_port`. The argument is the name of the certificate.
start_tls_server() {
    start_stunnel "server_$1" "connect = 127.0.0.1:$server_port" "cert = $work/$1.pem" "key = $work/$1.key" \
        "CAfile = $work/authority.pem" 'verifyChain = yes' && tls_port=$port
}

# Starts the client's end of stunnel, and sets `port`. The argument is the name of the certificate. If it is empty, the
# client has no certificate.
start_tls_client() {
    start_stunnel "client_${1:-none}" 'client = yes' "connect = 127.0.0.1:$tls_port" "CAfile = $work/authority.pem" \
        'verifyChain = yes' 'checkHost = node1' ${1:+"cert = $work/$1.pem" "key = $work/$1.key"}
}

serves_through_stunnel() { start_tls_server node1 && start_tls_client console1 && serves "$port"; }

# Succeeds if the server's end of stunnel refuses a certificate. The arguments are the certificate and the reason.
refuses_the_certificate() {
    start_tls_client "$1" && serves_nothing "$port" && await "$work/server_node1" "$2" $$ && kill $started
}

refuses_clients_without_tls() {
    serves_nothing "$tls_port" && await "$work/server_node1" 'wrong version number' $$
}

# This check changes `tls_port`, so it must be the last check of stunnel.
refuses_another_server() {
    start_tls_server node2 && start_tls_client console1 && serves_nothing "$port" &&
        await "$work/client_console1" 'certificate verify failed' $$
}

check 'a register server runs' start_server
check 'sshd runs' start_sshd
check 'a client reaches the server through a forwarded port' serves_through_ssh
check 'ssh refuses a client with another key' refuses_another_key
check 'ssh refuses a host with another key' refuses_another_host
check 'ssh permits neither other connections nor commands' refuses_other_ports_and_commands
check 'openssl makes certificates' make_certificates
check 'a client reaches a local socket through a forwarded local socket' serves_through_local_sockets
check 'a client reaches the server through stunnel' serves_through_stunnel
check 'stunnel refuses a client without a certificate' \
    refuses_the_certificate '' 'peer did not return a certificate'
check 'stunnel refuses a client with a certificate of another authority' \
    refuses_the_certificate console2 'certificate verify failed'
check 'stunnel refuses a client without TLS' refuses_clients_without_tls
check 'stunnel refuses a server with a certificate of another authority' refuses_another_server
summary
