# Sourced by scripts/bench.sh and bench/profile.sh (after scripts/env.sh): the Unix process
# id of this prefix's wineserver, whose CPU time counts with the benchmarks'. Its working
# directory is the server directory named after the prefix's device and inode numbers; a
# server just started takes a moment to get there.
server_pid() {
    local dir pid try
    dir="server-$(printf '%x-%x' $(stat -c '%d %i' "$WINEPREFIX"))"
    for try in 1 2 3 4 5 6 7 8 9 10; do
        for pid in /proc/[0-9]*; do
            case "$(cat "$pid/comm" 2>/dev/null)" in
                wineserver*)
                    if [ "$(basename "$(readlink "$pid/cwd" 2>/dev/null)")" = "$dir" ]; then
                        basename "$pid"
                        return
                    fi ;;
            esac
        done
        sleep 0.3
    done
}
