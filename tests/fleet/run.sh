#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Starts 50 simulated nodes on addresses of the loopback, and a Prometheus that scrapes them with the files of
# docs/fleet/. Queries Prometheus for the values of registers, for a node that has ended, and for an alert.
# Usage: run.sh BUILD_FOLDER. Ends with a line of totals.
set -u -o pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "$1" && pwd) || exit
. "$root/scripts/common.sh"
. "$root/scripts/checks.sh"
suite=fleet
trap '{ kill $(jobs -p); wait; } 2>/dev/null; rm -rf "$work"' EXIT
unset RYNVEL_MAPS RYNVELCTL_REMOTE ZILTRACE
nodes=50
programs="$unpacked_root/usr/bin"

# Waits until a command succeeds. Fails after a minute.
await() {
    local i
    for ((i = 0; i < 600; i++)); do
        ! "$@" >"$work/awaited" 2>&1 || return 0
        sleep 0.1
    done
    cat "$work/awaited"
    return 1
}

address_of() { echo "127.0.1.$1"; }

listens() { grep -q 'metrics at http://' "$work/node$1"; }

start_nodes() {
    local i
    for ((i = 1; i <= nodes; i++)); do
        "$build/server/rynveld" --simulate --map "$root/board/maps/rtc0.svd" --listen "$(address_of $i):0" \
            --metrics "$(address_of $i):0" --export rtc0.RTCLR --export rtc0.RTCCR.START 2>"$work/node$i" &
        pids[i]=$!
    done
    for ((i = 1; i <= nodes; i++)); do
        await listens $i || return
        ports[i]=$(sed -n 's/.*listening on [^,]*:\([0-9]*\),.*/\1/p' "$work/node$i")
        metrics[i]=$(sed -n 's/.*metrics at http:..\(.*\)\/metrics/\1/p' "$work/node$i")
    done
}

# Runs rynvelctl on the node whose number is the first argument.
ctl() {
    "$build/tools/rynvelctl" --map "$root/board/maps/rtc0.svd" --remote "$(address_of "$1")::${ports[$1]}" "${@:2}"
}

metrics_of() { curl -sS --noproxy '*' --fail --max-time 20 "http://${metrics[$1]}/metrics"; }

# Writes a different value to a register of each node, and starts the clock of each node.
write_registers() {
    local i
    for ((i = 1; i <= nodes; i++)); do
        ctl $i write rtc0 RTCLR $((1000 + i)) && ctl $i write rtc0 RTCCR.START running || return
    done
}

# Fails if promtool prints anything, even if the exit status of promtool is 0.
metrics_are_clean() {
    metrics_of 1 >"$work/metrics" && "$programs/promtool" check metrics <"$work/metrics" >"$work/remarks" 2>&1 &&
        [ ! -s "$work/remarks" ] || { cat "$work/remarks"; return 1; }
}

# Writes the files of docs/fleet/ with shorter times, and with the addresses of the simulated nodes.
write_configuration() {
    local i
    sed -E 's/^( *(scrape|evaluation)_interval:).*/\1 1s/; s/^( *scrape_timeout:).*/\1 1s/' \
        "$root/docs/fleet/prometheus.yml" >"$work/prometheus.yml"
    sed -E 's/^( *for:).*/\1 0s/' "$root/docs/fleet/alerts.yml" >"$work/alerts.yml"
    for ((i = 1; i <= nodes; i++)); do
        printf '{"targets": ["%s"], "labels": {"node": "node%d"}},\n' "${metrics[i]}" $i
    done | sed '1s/^/[/; $s/,$/]/' >"$work/nodes.json"
    "$programs/promtool" check config "$root/docs/fleet/prometheus.yml" &&
        "$programs/promtool" check config "$work/prometheus.yml"
}

is_ready() { curl -sS --noproxy '*' --fail --max-time 5 "$url/-/ready"; }

start_prometheus() {
    local i port
    for ((i = 0; i < 20; i++)); do
        port=$((20000 + RANDOM % 12000))
        "$programs/prometheus" --config.file="$work/prometheus.yml" --storage.tsdb.path="$work/data" \
            --web.listen-address="127.0.0.1:$port" >"$work/prometheus.log" 2>&1 &
        url=http://127.0.0.1:$port
        while kill -0 $! 2>/dev/null; do
            ! is_ready || return 0
            sleep 0.1
        done
        grep -q 'address already in use' "$work/prometheus.log" || break
    done
    cat "$work/prometheus.log"
    return 1
}

# Prints the results of a query, one per line: the label `node` and the value.
query() {
    curl -sS --noproxy '*' --fail --max-time 20 --get --data-urlencode "query=$1" "$url/api/v1/query" | python3 -c '
import json, sys
for result in json.load(sys.stdin)["data"]["result"]:
    print(result["metric"].get("node", "all"), result["value"][1])' | sort -V
}

# Succeeds if a query has the expected result. The arguments are the query and the result.
gives() { [ "$(query "$1")" = "$2" ] || { query "$1"; return 1; }; }

becomes() { await gives "$1" "$2"; }

all_nodes_are_up() { becomes 'sum(up)' "all $nodes"; }

own_values() { for ((i = 1; i <= nodes; i++)); do echo "node$i $((1000 + i))"; done; }

values_are_right() { becomes 'rynveld_register_value{register="RTCLR"}' "$(own_values)"; }

requests_are_counted() {
    becomes 'sum(rynveld_requests_total{type="write32",result="success"})' "all $((2 * nodes))"
}

a_stopped_node_is_down() {
    kill "${pids[9]}" && wait "${pids[9]}"
    becomes 'up == 0' 'node9 0' && becomes 'ALERTS{alertname="NodeDown",alertstate="firing"}' 'node9 1' &&
        becomes 'sum(up)' "all $((nodes - 1))" && becomes 'rynveld_register_value{node="node9"}' ''
}

firing='ALERTS{alertname="ClockStopped",alertstate="firing"}'

an_alert_fires() {
    becomes "$firing" '' && ctl 7 write rtc0 RTCCR.START stopped && becomes "$firing" 'node7 1' &&
        ctl 7 write rtc0 RTCCR.START running && becomes "$firing" ''
}

queries_are_valid() {
    python3 "$root/tests/fleet/queries.py" "$work/metrics" "$url" "$root/docs/fleet/dashboard.json" \
        "$root/docs/fleet/alerts.yml"
}

declare -a pids ports metrics
check 'Prometheus and promtool are unpacked' test -x "$programs/prometheus" -a -x "$programs/promtool"
check "$nodes simulated nodes run" start_nodes
check 'the registers of the nodes have different values' write_registers
check 'promtool finds nothing wrong with the metrics' metrics_are_clean
check 'promtool finds nothing wrong with the configuration and the alerts of docs/fleet/' write_configuration
check 'Prometheus runs' start_prometheus
check 'Prometheus reaches all nodes' all_nodes_are_up
check 'Prometheus has the value of the register of each node' values_are_right
check 'Prometheus has the number of write requests to all nodes' requests_are_counted
check 'the queries of the dashboard and of the alerts use metrics of the server' queries_are_valid
check 'an alert on a field fires for one node, and ends' an_alert_fires
check 'Prometheus reports a node that has ended as down, and has no values of this node' a_stopped_node_is_down
summary
