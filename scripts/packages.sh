# Sourced by the other scripts: which packages the tree needs, and how they are installed.

# For the library, its platform libraries and the examples.
build_packages=(g++ cmake ninja-build pkg-config libicu-dev libnspr4-dev libproc2-dev libssl-dev libxml2-dev
    tzdata uuid-dev)
# For the tests.
test_packages=(libgtest-dev)
# For the benchmarks and their peers.
bench_packages=(libbenchmark-dev libboost-dev libglib2.0-dev libuv1-dev libspdlog-dev libgoogle-glog-dev qt6-base-dev)
# For the fuzz targets.
fuzz_packages=(clang libclang-rt-14-dev)
# For checking format and style.
lint_packages=(clang-format clang-tidy clang-tools libclang-rt-14-dev)

# install_missing PACKAGE...: installs those that are not installed yet.
install_missing() {
    local missing=() package
    for package in "$@"; do
        [[ $(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null) == installed ]] || missing+=("$package")
    done
    ((${#missing[@]})) || return 0
    local as_root=(env)
    if ((EUID != 0)); then
        if ! command -v sudo >/dev/null; then
            echo "These packages are missing: ${missing[*]}" >&2
            echo "Install them as root: apt-get install ${missing[*]}" >&2
            return 1
        fi
        as_root=(sudo env)
    fi
    echo "Installing ${missing[*]}"
    local apt=("${as_root[@]}" DEBIAN_FRONTEND=noninteractive apt-get)
    "${apt[@]}" update -qq </dev/null
    "${apt[@]}" install -y -qq --no-install-recommends "${missing[@]}" </dev/null >/dev/null
}

# build PRESET [TARGET...]: configures and builds.
build() {
    local preset=$1
    shift
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset" ${1:+--target "$@"}
}
