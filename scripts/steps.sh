# Steps with logs, for the commands of this tree; to be sourced with `root` set to its top.
# shellcheck shell=bash disable=SC2034,SC2154  # names shared with whoever sources this

logs=$root/build/logs
jobs=$(nproc)

# run_logged LOG COMMAND...: the output goes to LOG; the command's own exit code comes back.
run_logged() {
    local log=$1
    shift
    mkdir -p "${log%/*}"
    "$@" >"$log" 2>&1 </dev/null
}

# show_tail LOG: the end of a log, where the reason for a failure is.
show_tail() {
    printf -- '---- the end of %s\n' "$1"
    tail -n 40 -- "$1" | tr -d '\r'
    printf -- '----\n'
}

# build_preset PRESET [TARGET...]: configures when that was not done yet, or when the presets
# changed since, or anew when the tree was moved or copied; whether anything is to be built is for
# ninja to know. A second call waits until the first is done.
build_preset() {
    mkdir -p -- "$root/build"
    (
        flock 9
        configure_preset "$1" 9>&- &&
            cmake --build "$root/build/$1" -j "$jobs" ${2:+--target "${@:2}"} 9>&-
    ) 9>"$root/build/$1.lock"
}

# build_aside JOBS PRESET [TARGET...]: the same with what others leave of so many processors, in place
# of the shell that calls it. A TERM ends it, and loses the files that are being compiled.
build_aside() {
    mkdir -p -- "$root/build"
    exec 9>"$root/build/$2.lock"
    flock 9
    configure_preset "$2" && exec nice -n 19 ninja -C "$root/build/$2" -j "$1" "${@:3}"
}

configure_preset() {
    local preset=$1 folder=$root/build/$1 configured=$root/build/$1/configured
    if [[ -f $folder/CMakeCache.txt ]] &&
        ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$root" "$folder/CMakeCache.txt"; then
        rm -rf -- "$folder"
    fi
    if [[ ! $configured -nt $root/CMakePresets.json ]]; then
        (cd "$root" && cmake --preset "$preset") || return
        touch "$configured"
    fi
}
