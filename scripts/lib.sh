# Shared steps of the project's scripts; sourced, not run.

# The Debian packages every build needs.
KVB_BUILD_PACKAGES=(cmake ninja-build g++ qtbase5-dev qtbase5-dev-tools)

# Installs whichever of the given Debian packages are missing.
ensure_packages() {
    local missing=() p
    for p in "$@"; do
        dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    echo "==> Installing ${missing[*]}"
    local sudo=()
    [ "$(id -u)" -ne 0 ] && sudo=(sudo)
    "${sudo[@]}" apt-get update -qq
    DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

# build_tree DIR [cmake options...]: configures DIR if needed and builds it on two cores.
build_tree() {
    local dir=$1
    shift
    echo "==> Building in $dir"
    cmake -S . -B "$dir" -G Ninja "$@" >/dev/null
    cmake --build "$dir" -j2
}
