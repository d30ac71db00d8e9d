# Shared by scripts/run and scripts/test: installs what is missing and builds.
set -euo pipefail

TOP=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
DEBIAN_PACKAGES=(cmake ninja-build g++ pkg-config qt6-base-dev qt6-websockets-dev libgl-dev
    libcpp-httplib-dev libsqlite3-dev libssl-dev zlib1g-dev libbrotli-dev openssl)

as_root() {
    if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

install_missing_packages() {
    local missing=()
    for package in "${DEBIAN_PACKAGES[@]}"; do
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

# build DIR BUILD_TYPE [extra cmake arguments...]
build() {
    local dir=$1 type=$2
    shift 2
    cmake -S "$TOP" -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE="$type" "$@" >/dev/null
    cmake --build "$dir" --parallel "$(nproc)"
}
