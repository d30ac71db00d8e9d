# Shared by scripts/run and scripts/test: installs what is missing and builds.
set -euo pipefail

TOP=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
DEBIAN_PACKAGES=(cmake ninja-build g++ pkg-config qt6-base-dev qt6-websockets-dev libgl-dev
    libcpp-httplib-dev libsqlite3-dev libssl-dev zlib1g-dev libbrotli-dev openssl)
# Only the tests need these: the browser that drives the sample page, curl for the
# server's tests and benchmarks, CUPS and pdfinfo for printing to the PDF queue.
DEBIAN_TEST_PACKAGES=(chromium curl cups-daemon cups-client cups-filters poppler-utils)

as_root() {
    if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

# install_missing_packages [package...]: the given packages, or the build's.
install_missing_packages() {
    local wanted=("$@") missing=()
    [ ${#wanted[@]} -gt 0 ] || wanted=("${DEBIAN_PACKAGES[@]}")
    for package in "${wanted[@]}"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" ||
            missing+=("$package")
    done
    if [ ${#missing[@]} -gt 0 ]; then
        echo "Installing ${missing[*]}"
        as_root apt-get update -qq
        as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
            "${missing[@]}" >/dev/null
    fi
}

# node and the npm packages of the JavaScript client, for its tests. Debian's nodejs and npm
# are installed only when there is no node at all: a node from elsewhere (NodeSource) brings
# its own npm, and Debian's npm package conflicts with it.
install_node_packages() {
    if ! command -v node >/dev/null 2>&1; then
        echo "Installing nodejs npm"
        as_root apt-get update -qq
        as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
            nodejs npm >/dev/null
    elif ! command -v npm >/dev/null 2>&1; then
        if dpkg-query -W -f='${Version}' nodejs 2>/dev/null | grep -q nodesource; then
            echo "node is installed without npm; install the npm that goes with it" >&2
            return 1
        fi
        echo "Installing npm"
        as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
            npm >/dev/null
    fi
    local dir
    for dir in "$TOP/clients/js" "$TOP/tests/browser"; do
        # npm ci starts from an empty node_modules: skip it while the tree there is the
        # locked one, so that a second run needs neither the network nor the time. No browser
        # is downloaded: the tests drive Debian's chromium.
        if [ ! -f "$dir/node_modules/.package-lock.json" ] ||
            [ "$dir/package-lock.json" -nt "$dir/node_modules/.package-lock.json" ]; then
            (cd "$dir" && PLAYWRIGHT_SKIP_BROWSER_DOWNLOAD=1 \
                npm ci --prefer-offline --no-audit --no-fund --loglevel=error)
        fi
    done
}

# build DIR BUILD_TYPE [extra cmake arguments...]
build() {
    local dir=$1 type=$2
    shift 2
    cmake -S "$TOP" -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE="$type" "$@" >/dev/null
    cmake --build "$dir" --parallel "$(nproc)"
}
