#!/bin/sh
# Runs the cross build's programs under wine so that no program ever meets a
# wine server that is shutting down.
#
#   zorv-wine.sh init <wine>                  creates or updates the prefix
#   zorv-wine.sh start <wine>                 starts the prefix's server for a test run
#   zorv-wine.sh stop                         stops it and every program it serves
#   zorv-wine.sh run <wine> <program> [args]  runs a program (the build's emulator)
#
# WINEPREFIX and WINESERVER (the server program) come from the environment.
#
# Debian's wineserver exits as soon as its last program has ended. A program
# that starts at that moment connects to a server on its way out and dies
# with "recvmsg: Connection reset by peer". So while programs may start, a
# persistent server (wineserver -p) runs, and only `stop` ends it.
#
# The server and what wineboot leaves running (services, device drivers) start
# in a session of their own, with their output in the prefix's log and none
# of the caller's descriptors: they outlive the command that starts them, and
# must not hold a pipe that ctest or ninja waits on. wineboot runs before any
# program so that no program starts those services itself, under its own
# output.
#
# `start` marks the prefix as served and `run` then only runs the program.
# Without the mark (test listing at build time, a test run that skips the
# fixture) `run` starts a server of its own, runs the program and stops the
# server. Every command but a served `run` holds the prefix's lock, so that
# such runs take turns and never share or stop each other's server.
set -eu

prefix=${WINEPREFIX:?WINEPREFIX is not set}
server=${WINESERVER:?WINESERVER is not set}
lock=$prefix/.zorv-wine.lock
mark=$prefix/.zorv-wine.served
log=$prefix/zorv-wine.log

usage() {
    echo "usage: $0 init|start <wine> | stop | run <wine> <program> [args...]" >&2
    exit 2
}

take_lock() {
    mkdir -p "$prefix"
    exec 9>"$lock"
    flock 9
}

# Stops the prefix's server, if one runs; its programs end with it.
halt() {
    rm -f "$mark"
    "$server" -k 2>/dev/null || true
}

# Starts a persistent server and the services; returns once both are up.
boot() {
    # A server left by an interrupted run, or one on its way out.
    halt
    setsid -w "$server" -p </dev/null >>"$log" 2>&1 9>&-
    setsid -w "$wine" wineboot </dev/null >>"$log" 2>&1 9>&-
}

[ $# -ge 1 ] || usage
command=$1
shift
case $command in
    init)
        [ $# -eq 1 ] || usage
        wine=$1
        take_lock
        halt
        # The first start creates the prefix and goes on in the background
        # after wineboot returns; the server exits once that is done.
        "$wine" wineboot --init </dev/null >>"$log" 2>&1 9>&-
        "$server" -w
        ;;
    start)
        [ $# -eq 1 ] || usage
        wine=$1
        take_lock
        boot
        : >"$mark"
        echo "wine server for $prefix is up"
        ;;
    stop)
        [ $# -eq 0 ] || usage
        take_lock
        halt
        echo "wine server for $prefix is stopped"
        ;;
    run)
        [ $# -ge 2 ] || usage
        wine=$1
        shift
        if [ -e "$mark" ]; then
            exec "$wine" "$@"
        fi
        take_lock
        trap 'halt; exit 130' INT TERM HUP
        boot
        status=0
        "$wine" "$@" 9>&- || status=$?
        halt
        exit "$status"
        ;;
    *)
        usage
        ;;
esac
