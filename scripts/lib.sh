# Shared by the scripts: finds the project and installs what a step needs. Sourced, not run.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# need PACKAGE...: installs the Debian packages that are missing, as root or through sudo.
need() {
    local missing=() package
    if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
        echo "This system has no apt-get. Where the next steps fail, install what Debian calls: $*" >&2
        return 0
    fi
    for package in "$@"; do
        [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    echo "Installing ${missing[*]}"
    local root=()
    [ "$(id -u)" -eq 0 ] || root=(sudo)
    "${root[@]}" apt-get update -qq
    "${root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends --no-remove "${missing[@]}" >/dev/null
}

# copy_sources FOLDER: copies the project without anything that was built into a new folder.
copy_sources() {
    mkdir -p "$1"
    if [ "$(git rev-parse --show-toplevel 2>/dev/null)" = "$PWD" ]; then
        git ls-files -z --cached --others --exclude-standard
    else # unpacked from a tarball
        find . -path ./build -prune -o ! -type d -print0
    fi | while IFS= read -rd '' file; do [ ! -e "$file" ] || printf '%s\0' "$file"; done |
        tar -c --null --no-recursion -T - | tar -x -C "$1"
}

# build_for_install [OPTION...]: builds the libraries and the tool in build/package, in the form that the wheel
# contains; the options of cmake --build select targets.
build_for_install() {
    # With the prefix /usr, Debian's folder for libraries is found without an option.
    cmake -S . -B build/package -G Ninja -DBUILD_TESTING=OFF -DQEL_UNIT_TOOLS=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DCMAKE_INSTALL_PREFIX=/usr >/dev/null
    cmake --build build/package "$@"
}

# look_at_load: waits up to five minutes until the load average of a minute is below 0.3, and stores the state of the
# machine in QEL_BENCH_MACHINE; bench/page.py writes it into the page.
look_at_load() {
    local load deadline=$((SECONDS + 300))
    while :; do
        read -r load _ </proc/loadavg
        if awk -v load="$load" 'BEGIN { exit !(load < 0.3) }'; then
            export QEL_BENCH_MACHINE="idle, load average $load at the start"
            break
        fi
        if [ "$SECONDS" -ge "$deadline" ]; then
            export QEL_BENCH_MACHINE="**busy**, load average $load at the start"
            break
        fi
        sleep 5
    done
    echo "machine: $QEL_BENCH_MACHINE" >&2
}

readonly build_packages=(g++ cmake ninja-build libgtest-dev python3)
readonly fuzz_targets=(unit_file archive archive_structure scene_file mesh_cache agents mesh_records scene_records)
