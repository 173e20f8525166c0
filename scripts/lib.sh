# Shared steps of the project's scripts; sourced, not run.

# The Debian packages every build needs.
KVB_BUILD_PACKAGES=(cmake ninja-build g++ qtbase5-dev qtbase5-dev-tools libx11-dev libx11-xcb-dev libxcb1-dev libxtst-dev
    libboost-dev libmosquitto-dev)

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

# What the tests of kvbeacon-web add: Qt's WebSocket client, Chromium with its driver for the
# pages in a real browser, and a Mosquitto broker with openssl to make its certificates.
KVB_WEB_TEST_PACKAGES=(libqt5websockets5-dev chromium chromium-driver mosquitto openssl)

# The X server packages for running the window on a machine without a display.
KVB_X_PACKAGES=(xvfb xauth)

# Starts Xvfb on a free display number and exports DISPLAY; sets KVB_XVFB_PID.
start_xvfb() {
    local n=99
    while [ -e "/tmp/.X11-unix/X$n" ] || [ -e "/tmp/.X$n-lock" ]; do n=$((n + 1)); done
    Xvfb ":$n" -screen 0 1280x800x24 -nolisten tcp >/dev/null 2>&1 &
    KVB_XVFB_PID=$!
    export DISPLAY=":$n"
    local i
    for i in $(seq 50); do
        [ -e "/tmp/.X11-unix/X$n" ] && return 0
        sleep 0.1
    done
    echo "Xvfb did not start on $DISPLAY" >&2
    return 1
}

# step [TEXT]: ends the step before it with the seconds it took and names the next one, on
# standard error, after "==> $KVB_STEP_LABEL:".
step_start=0
step() {
    local now
    now=$(date +%s)
    [ "$step_start" -gt 0 ] && echo "    ($((now - step_start)) s)" >&2
    step_start=$now
    [ $# -gt 0 ] && echo "==> ${KVB_STEP_LABEL:-kvBeacon}: $*" >&2
    return 0
}
