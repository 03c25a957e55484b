# Shared by the checks beside it: a local cloud, a television to synchronise with it, and whether that happened.
# shellcheck shell=bash
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/lib.sh"

TOOLS=build/release/bin
STAGE=build/packaging
USER_ID=ann@example.com
export TZ=UTC LC_ALL=C.UTF-8

# In $work; gone when the script ends. Others may pass through it, since some runs are made as another user.
make_work_folder() {
    work=$(mktemp -d "${TMPDIR:-/tmp}/infosync-packaging-XXXXXX")
    chmod 755 "$work"
    trap finish EXIT
}

finish() {
    cloud stop >/dev/null 2>&1 || true
    rm -rf "$work"
}

cloud() { INFOSYNC_CLOUD_DIR=$work/cloud "$TOOLS/infosync-cloud" "$@"; }
tv() { "$TOOLS/infosync-tv" "$@"; }

start_cloud() {
    build release infosync-cloud infosync-tv
    cloud user add $USER_ID >/dev/null
    cloud device add $USER_ID Kitchen AA:BB:CC:00:00:01 --id kitchen >/dev/null
    cloud device add $USER_ID Phones AA:BB:CC:00:00:02 --id phones >/dev/null
    cloud serve --detach --port 0 >/dev/null || die "the local cloud did not start"
}

# make_television FOLDER: signed in, set up for the running cloud, and in need of nothing outside its folder.
make_television() {
    tv --dir "$1" init --cloud "$work/cloud" >/dev/null
    cp "$work/cloud/tls/ca.pem" "$1/ca.pem"
    tv --dir "$1" set http.ca_file ca.pem >/dev/null
    tv --dir "$1" set http.connect_to "::127.0.0.1:$(cloud status --json | /usr/bin/python3 -c \
        'import json, sys; print(json.load(sys.stdin)["port"])')" >/dev/null
    tv --dir "$1" sign-in $USER_ID >/dev/null
}

# expect_synchronised FOLDER LOG: the run that wrote the log took every step and left the cloud's devices in the list.
expect_synchronised() {
    local listed
    listed=$(tv --dir "$1" devices --json | /usr/bin/python3 -c \
        'import json, sys; print(*sorted(device["name"] for device in json.load(sys.stdin)))')
    if [ "$listed" != "Kitchen Phones" ] || ! grep -q 'End main loop' "$2"; then
        cat "$2" >&2
        cloud requests >&2
        die "the run did not synchronise: the device list holds [$listed]"
    fi
}

# The clean root with the .deb in it: $root, its service unit: $unit, the television's folder in it: $state.
# shellcheck disable=SC2034  # for those who call it
unpack_root() {
    root=$work/root
    state=$root/var/lib/bt-infosync
    unit=$root/usr/lib/systemd/system/bt-infosync.service
    [ -f "$STAGE/root.tar" ] || die "there is no clean root; run packaging/check-packages first"
    mkdir "$root"
    tar -C "$root" -xf "$STAGE/root.tar" --exclude='./dev/*'
    chown -R "$(id -u):$(id -g)" "$state"  # the tools refuse a television that is not their user's own
}
