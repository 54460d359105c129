#!/bin/sh
# Installs what is missing, builds, starts a worker server on a free port of 127.0.0.1, solves two
# models in workers of that server, and compares with the same solves in this process.
#
# Whatever ends the script, the server ends with it.  Exit status 0: all was right.
set -eu
cd "$(dirname "$0")"

fail() {
    echo "demo.sh: $*" >&2
    exit 1
}

scripts/install-packages
echo "building" >&2
scripts/build --preset default build -- vntworker vntsolve

dir=$(mktemp -d)
server=

# The ids of the server and its workers: they carry the folder of this run in their arguments.
running() {
    for process in /proc/[0-9]*; do
        case $(readlink "$process/exe" 2>/dev/null || true) in
        */vntworker) ! grep -qF "$dir/" "$process/cmdline" 2>/dev/null || echo "${process#/proc/}" ;;
        esac
    done
}

# SIGTERM lets the server end its workers; who is left after ten seconds is killed.
stop() {
    status=$?
    trap - EXIT
    if [ -n "$server" ]; then
        kill -TERM "$server" 2>/dev/null || true
        for _ in $(seq 100); do
            [ -n "$(running)" ] || break
            sleep 0.1
        done
        for left in $(running); do
            echo "demo.sh: process $left had to be killed" >&2
            kill -KILL "$left" 2>/dev/null || true
            status=1
        done
        wait "$server" || status=1
    fi
    rm -rf "$dir"
    [ "$status" = 0 ] || echo "demo.sh: failed" >&2
    exit "$status"
}
trap stop EXIT
trap 'exit 1' HUP INT TERM

# Port 0 lets the system choose; the server's first line says what it chose.
build/bin/vntworker -host=127.0.0.1 -port=0 -pidfile="$dir/pid" 2>"$dir/log" &
server=$!
address=
for _ in $(seq 100); do
    address=$(sed -n 's/^Server started on //p' "$dir/log")
    [ -z "$address" ] || break
    kill -0 "$server" 2>/dev/null || break
    sleep 0.1
done
[ -n "$address" ] || {
    cat "$dir/log" >&2
    fail "the server did not start"
}
echo "server $server listens on $address"

# Equal means equal digits: of all that --json prints but time and place, and of the solution.
solve() { # MODEL TEXT
    echo
    echo "== $1: $2"
    build/bin/vntsolve "test/models/$1" --server "$address"
    build/bin/vntsolve "test/models/$1" --server "$address" --quiet --json \
        --write-solution "$dir/remote.sol" | grep -v '"seconds"\|"server"' >"$dir/remote"
    build/bin/vntsolve "test/models/$1" --local --quiet --json \
        --write-solution "$dir/local.sol" | grep -v '"seconds"\|"server"' >"$dir/local"
    diff "$dir/local" "$dir/remote" || fail "$1: the worker's answer differs from this process's"
    cmp "$dir/local.sol" "$dir/remote.sol" || fail "$1: the solutions differ"
    echo "The same solve in this process gives the same digits."
}
solve 25fv47.mps "a linear problem, from the Netlib collection"
solve p0201.mps "a mixed-integer problem, from MIPLIB 3"

echo
echo "stopping the server"
