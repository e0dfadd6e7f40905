# For scripts that follow a user's steps with the installed library. They set work_dir first, and
# have in the environment what tests/CMakeLists.txt sets for them: CC, CXX, CFLAGS and CXXFLAGS of
# the build, KIVCORE_LIBDIR.
set -euo pipefail
export LC_ALL=C

fail() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

# The output of a command that must succeed goes to a log, which is shown if it fails.
quietly() {
    "$@" >"$work_dir/log" 2>&1 || fail "$* failed: $(<"$work_dir/log")"
}

# refused PATTERN COMMAND...: the command must fail with a message that matches. CMake wraps lines.
refused() {
    local pattern=$1
    shift
    ! "$@" >"$work_dir/log" 2>&1 || fail "not refused: $*"
    tr -s ' \n' ' ' <"$work_dir/log" | grep -E -- "$pattern" >/dev/null ||
        fail "no message '$pattern': $(<"$work_dir/log")"
}

# start_in DIR BUILD_DIR: empties the directory, and installs the build in its subdirectory prefix.
start_in() {
    rm -rf "$1"
    mkdir -p "$work_dir"
    quietly cmake --install "$2" --prefix "$work_dir/prefix"
}
