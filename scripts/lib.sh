# Shared by run, test and the checks; sourced, never run. Sets `root`, the top of the tree.
# shellcheck shell=bash
root=$(cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.." && pwd -P)

# configure PRESET [cmake options]: makes build/PRESET ready for ninja. Later calls cost nothing: ninja itself runs CMake
# again when a CMakeLists.txt changes; only the presets are not among the files it watches.
configure() {
    local preset=$1 directory=$root/build/$1
    shift
    # A tree that was copied or moved brings a cache of the old place, which CMake refuses.
    if [ -f "$directory/CMakeCache.txt" ] &&
        ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$root" "$directory/CMakeCache.txt"; then
        rm -rf "$directory"
    fi
    [ "$directory/build.ninja" -nt "$root/CMakePresets.json" ] && return
    (cd "$root" && cmake --preset "$preset" "$@")
}

# build PRESET [targets]: everything if no target is named. Silent when nothing is to do.
build() {
    local preset=$1
    shift
    configure "$preset" >&2 || return
    (set -o pipefail; ninja -C "$root/build/$preset" --quiet "$@" | { grep -vxF 'ninja: no work to do.' || true; }) >&2
}
