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

# private_shm PROGRAM [ARGS...]: runs the program with a /dev/shm of its own, an empty tmpfs in a
# mount namespace of its own. The simulator's shared memory has fixed names, so a kvBeacon or
# stand-in running elsewhere on this machine (scripts/run, another test run) would otherwise
# meet the tests' own. Root needs only the mount namespace; other users get a user namespace that
# is root for the mount and then hands back their own user and group, so that the tests run as
# themselves and what they write stays theirs. The network and the rest are shared as before.
# Where the system allows neither, says so once and runs the program as it is.
private_shm() {
    local mount='mount -t tmpfs -o mode=1777,nosuid,nodev tmpfs /dev/shm && exec "$@"'
    local as_root=(unshare --mount sh -c "$mount" sh)
    local as_user=(unshare --user --map-root-user --mount sh -c "$mount" sh
        unshare --user --map-user="$(id -u)" --map-group="$(id -g)")
    if "${as_root[@]}" true 2>/dev/null; then
        "${as_root[@]}" "$@"
    elif "${as_user[@]}" true 2>/dev/null; then
        "${as_user[@]}" "$@"
    else
        [ -z "${KVB_SHM_SHARED_SAID:-}" ] &&
            echo "==> The tests share this machine's /dev/shm (no namespace of their own allowed here):" \
                "a kvBeacon or simulator stand-in running beside them can disturb them" >&2
        KVB_SHM_SHARED_SAID=1
        "$@"
    fi
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

# debian_source_lists: makes deb-src entries from the Debian archives this machine's apt already
# uses (the same suites and mirrors), in a private sources list and lists folder under the cache,
# so the system's apt configuration stays as it is and no archive's address is written down here;
# sets KVB_APT_OPTS to reach them. The lists are read anew once a run (call it outside a command
# substitution for that to hold), so that a security update's source is seen. Fails, saying so in
# one line, when they cannot be read anew (offline), with apt's words in a log.
debian_source_lists() {
    local apt_dir=${XDG_CACHE_HOME:-$HOME/.cache}/kvbeacon/apt
    [ "${KVB_APT_SOURCES_FRESH:-}" = "$apt_dir" ] && return 0
    mkdir -p "$apt_dir/lists/partial" "$apt_dir/archives/partial"
    apt-get indextargets --format '$(REPO_URI) $(RELEASE) $(COMPONENT)' \
        'Origin: Debian' 'Identifier: Packages' | sort -u |
        sed 's/^/deb-src /' >"$apt_dir/sources.list"
    if [ ! -s "$apt_dir/sources.list" ]; then
        echo "this machine's apt uses no Debian archive to take source packages from" >&2
        return 1
    fi
    KVB_APT_OPTS=(-o "Dir::Etc::SourceList=$apt_dir/sources.list" -o "Dir::Etc::SourceParts=-"
        -o "Dir::State::Lists=$apt_dir/lists" -o "Dir::Cache::Archives=$apt_dir/archives"
        -o APT::Sandbox::User=root)
    # apt succeeds with warnings when an archive cannot be reached.
    if ! apt-get "${KVB_APT_OPTS[@]}" update -qq >"$apt_dir/update.log" 2>&1 ||
        grep -q -e '^E:' -e '^W: Failed to fetch' "$apt_dir/update.log"; then
        echo "Debian's source lists could not be read anew ($apt_dir/update.log)" >&2
        return 1
    fi
    KVB_APT_SOURCES_FRESH=$apt_dir
}

# debian_source_versions PACKAGE VERSION: the versions of PACKAGE beginning with VERSION whose
# source Debian's archives list, newest first (the lists as debian_source_lists last read them).
debian_source_versions() {
    debian_source_lists || return 1
    apt-cache "${KVB_APT_OPTS[@]}" showsrc "$1" 2>/dev/null |
        awk -v v="$2" '$1 == "Version:" && index($2, v) == 1 { print $2 }' | sort -uVr
}

# debian_source PACKAGE VERSION DIR [--upstream-ok]: fetches Debian's source package PACKAGE
# into DIR, unpacked with Debian's patches: the newest version beginning with VERSION whose
# files the archive holds in full (a mirror may lack the files of a version that is listed).
# With --upstream-ok, a version whose packaging part alone is missing is taken as the upstream
# tarball Debian ships, which apt has checked against the archive's signed index, before any
# older version is tried. The archives
# are the machine's own (debian_source_lists). Prints the Debian version taken.
debian_source() {
    local package=$1 version=$2 dir=$3 upstream_ok=${4:-}
    debian_source_lists || return 1
    local apt_opts=("${KVB_APT_OPTS[@]}")
    local candidates found
    candidates=$(debian_source_versions "$package" "$version")
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
        # The same version's upstream tarball before any older version: a security update whose
        # packaging files a mirror lacks is still taken rather than the release it fixes.
        if [ "$upstream_ok" = --upstream-ok ]; then
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
        fi
        echo "    $package $found: the archive lacks some of its files" >&2
    done
    echo "Debian's archives hold no complete $package $version source" >&2
    return 1
}

# unpack_cache_archive FOLDER [NAME VERSIONS]: when KVB_CACHE_ARCHIVES (archive paths separated
# by ':') names FOLDER's archive, FOLDER.tar.xz, unpacks it as FOLDER instead of building it. The
# archive must hold exactly that folder, finished (with its .complete marker): its name carries
# the key of the versions and options, so an archive of other versions or options is passed
# over. With NAME, the archive NAME.tar.xz of a folder NAME is taken when the VERSIONS file in it
# says exactly VERSIONS. A SHA256SUMS beside the archive is checked first. Succeeds when FOLDER
# is then complete.
unpack_cache_archive() {
    local folder=$1 name=${2:-$(basename "$1")} versions=${3:-} archive
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
        if [ -n "$versions" ] &&
            [ "$(tar -xOJf "$archive" "$name/VERSIONS" 2>/dev/null)" != "$versions" ]; then
            echo "    $archive holds other versions: passed over" >&2
            continue
        fi
        echo "    unpacking $archive" >&2
        rm -rf "$folder.unpacking"
        mkdir -p "$folder.unpacking"
        tar -xJf "$archive" -C "$folder.unpacking" || continue
        rm -rf "$folder"
        mv "$folder.unpacking/$name" "$folder"
        rmdir "$folder.unpacking"
        [ -f "$folder/.complete" ] && return 0
    done
    return 1
}
