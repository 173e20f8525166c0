# Shared steps of the project's scripts; sourced, not run.

# The Debian packages every build needs.
KVB_BUILD_PACKAGES=(cmake ninja-build g++ qtbase5-dev qtbase5-dev-tools libx11-dev libx11-xcb-dev libxcb1-dev libxtst-dev
    libboost-dev libmosquitto-dev libqrencode-dev nlohmann-json3-dev)

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

# The pages' third-party assets (web/assets/package.json), from the npm registry as this
# machine's npm is set up; installed again only when the lock file changes.
ensure_page_assets() {
    local dir=web/assets
    local stamp=$dir/node_modules/.installed-lock
    cmp -s "$dir/package-lock.json" "$stamp" 2>/dev/null && return 0
    command -v npm >/dev/null || ensure_packages npm
    echo "==> Page assets from the npm registry ($dir)"
    npm ci --prefix "$dir" --no-audit --no-fund --ignore-scripts --loglevel=error
    cp "$dir/package-lock.json" "$stamp"
}

# build_tree DIR [cmake options...]: configures DIR if needed and builds it on two cores.
build_tree() {
    local dir=$1
    shift
    ensure_page_assets
    echo "==> Building in $dir"
    cmake -S . -B "$dir" -G Ninja "$@" >/dev/null
    cmake --build "$dir" -j2
}

# What the tests of kvbeacon-web add: Chromium with its driver for the pages in a real browser,
# a Mosquitto broker with openssl to make its certificates, ZBar to read QR codes back, and
# Python's web server for a page of another site.
KVB_WEB_TEST_PACKAGES=(chromium chromium-driver mosquitto openssl zbar-tools python3)

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

# debian_source PACKAGE VERSION DIR [--upstream-ok]: fetches Debian's source package PACKAGE
# into DIR, unpacked with Debian's patches: the newest version beginning with VERSION whose
# files the archive holds in full (a mirror may lack the files of a version that is listed).
# With --upstream-ok, a version whose packaging part alone is missing is taken as the upstream
# tarball Debian ships, which apt has checked against the archive's signed index. The deb-src
# entries are made from the Debian archives this machine's apt already uses (the same suites
# and mirrors), in a private sources list and lists folder under the cache, so the system's apt
# configuration stays as it is and no archive's address is written down here. Prints the
# Debian version taken.
debian_source() {
    local package=$1 version=$2 dir=$3 upstream_ok=${4:-}
    local apt_dir=${XDG_CACHE_HOME:-$HOME/.cache}/kvbeacon/apt
    mkdir -p "$apt_dir/lists/partial" "$apt_dir/archives/partial"
    apt-get indextargets --format '$(REPO_URI) $(RELEASE) $(COMPONENT)' \
        'Origin: Debian' 'Identifier: Packages' | sort -u |
        sed 's/^/deb-src /' >"$apt_dir/sources.list"
    if [ ! -s "$apt_dir/sources.list" ]; then
        echo "this machine's apt uses no Debian archive to take source packages from" >&2
        return 1
    fi
    local apt_opts=(-o "Dir::Etc::SourceList=$apt_dir/sources.list" -o "Dir::Etc::SourceParts=-"
        -o "Dir::State::Lists=$apt_dir/lists" -o "Dir::Cache::Archives=$apt_dir/archives"
        -o APT::Sandbox::User=root)
    # The lists are read anew once a run, so that a security update's source is taken.
    if [ "${KVB_APT_SOURCES_FRESH:-}" != "$apt_dir" ]; then
        apt-get "${apt_opts[@]}" update -qq >&2
        KVB_APT_SOURCES_FRESH=$apt_dir
    fi
    local candidates found
    candidates=$(apt-cache "${apt_opts[@]}" showsrc "$package" |
        sed -n "s/^Version: \($version[^ ]*\)$/\1/p" | sort -uVr)
    if [ -z "$candidates" ]; then
        echo "Debian's archives list no $package $version source" >&2
        return 1
    fi
    for found in $candidates; do
        rm -rf "$dir"
        mkdir -p "$dir"
        # As root, apt downloads without its sandbox user, which cannot reach this folder.
        if (cd "$dir" && apt-get "${apt_opts[@]}" source -qq "$package=$found" >/dev/null 2>&1); then
            echo "$found"
            return 0
        fi
        echo "    $package $found: the archive lacks some of its files" >&2
    done
    if [ "$upstream_ok" = --upstream-ok ]; then
        for found in $candidates; do
            rm -rf "$dir"
            mkdir -p "$dir"
            (cd "$dir" && apt-get "${apt_opts[@]}" source -qq --download-only "$package=$found" >/dev/null 2>&1) || true
            local orig
            orig=$(find "$dir" -maxdepth 1 -name "${package}_*.orig.tar.*" ! -name '*.asc' | head -n 1)
            if [ -n "$orig" ]; then
                echo "    $package $found: Debian's packaging files are missing, taking its upstream tarball" >&2
                tar -xf "$orig" -C "$dir"
                echo "$found"
                return 0
            fi
        done
    fi
    echo "Debian's archives hold no complete $package $version source" >&2
    return 1
}

# unpack_cache_archive FOLDER: when KVB_CACHE_ARCHIVES (archive paths separated by ':') names
# FOLDER's archive, FOLDER.tar.xz, unpacks it beside FOLDER instead of building it. The archive
# must hold exactly that folder, finished (with its .complete marker): its name carries the
# key of the versions and options, so an archive of other versions or options is passed over.
# A SHA256SUMS beside the archive is checked first. Succeeds when FOLDER is then complete.
unpack_cache_archive() {
    local folder=$1 name archive
    name=$(basename "$folder")
    local IFS=:
    for archive in ${KVB_CACHE_ARCHIVES:-}; do
        [ "$(basename "$archive")" = "$name.tar.xz" ] && [ -f "$archive" ] || continue
        if [ -f "$(dirname "$archive")/SHA256SUMS" ] &&
            ! (cd "$(dirname "$archive")" && grep " $name.tar.xz\$" SHA256SUMS | sha256sum -c --quiet -); then
            echo "    $archive does not match its SHA256SUMS: passed over" >&2
            continue
        fi
        local listing
        listing=$(tar -tJf "$archive") || continue
        if grep -qv "^$name/" <<<"$listing" || ! grep -qx "$name/.complete" <<<"$listing"; then
            echo "    $archive is not a finished $name: passed over" >&2
            continue
        fi
        echo "    unpacking $archive" >&2
        rm -rf "$folder"
        mkdir -p "$(dirname "$folder")"
        tar -xJf "$archive" -C "$(dirname "$folder")"
        [ -f "$folder/.complete" ] && return 0
    done
    return 1
}
