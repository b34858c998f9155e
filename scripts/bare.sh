# For scripts that try things on a bare machine; sourced, never run. Call make_bare, then inside; the machine goes away with
# the script, unless `keep` is yes. Needs root, debootstrap and the network.
#
# The machine is a root of Debian 12 with nothing but git and bash. The mirror and apt's settings are taken from this machine
# as they are. A minimal root is kept as a tar file under build/bare/ and used again for a week.
# shellcheck shell=bash
keep=no
store=$root/build/bare
bare=
mounted=()

# inside COMMAND: a shell command on the bare machine, with this machine's proxies and nothing else of its environment.
inside() {
    env -i PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
        ${http_proxy+"http_proxy=$http_proxy"} ${https_proxy+"https_proxy=$https_proxy"} \
        chroot "$bare" bash -c "$1" </dev/null
}

clean_bare() {
    local place
    for ((i = ${#mounted[@]} - 1; i >= 0; i--)); do umount -l "${mounted[i]}"; done
    for place in proc dev; do
        # Never delete through a mount that did not come off.
        mountpoint -q "$bare/$place" && { echo "still mounted: $bare/$place" >&2; return; }
    done
    if [ "$keep" = yes ]; then echo "kept: $bare"; else rm -rf "$bare"; fi
}

# make_bare: ends the script when there can be none.
make_bare() {
    local mirror place node name=${0##*/}
    [ "$(id -u)" = 0 ] || { echo "$name: needs root (a chroot and its mounts)" >&2; exit 1; }
    command -v debootstrap >/dev/null || { echo "$name: please install debootstrap" >&2; exit 1; }
    mkdir -p "$store"
    bare=$(mktemp -d "$store/root.XXXXXX") || exit 1
    trap clean_bare EXIT
    trap 'exit 130' INT
    trap 'exit 143' TERM HUP

    # The first Debian mirror in apt's own configuration, whichever of the two formats it has.
    # shellcheck disable=SC2016 # apt's own variable
    mirror=$(apt-get indextargets --format '$(SITE)' 'Created-By: Packages' 'Codename: bookworm' | head -n 1)
    [ -n "$mirror" ] || { echo "$name: apt knows no mirror of bookworm here" >&2; exit 1; }

    find "$store" -maxdepth 1 -name minimal.tar -mtime +7 -delete
    if [ ! -f "$store/minimal.tar" ]; then
        debootstrap --variant=minbase --include=git,ca-certificates bookworm "$bare" "$mirror" >"$store/debootstrap.log" 2>&1 ||
            { tail "$store/debootstrap.log" >&2; exit 1; }
        tar -C "$bare" -cf "$store/minimal.tar" .
    else
        tar -C "$bare" -xf "$store/minimal.tar"
    fi
    rm -f "$bare/etc/apt/sources.list"
    cp -r /etc/apt/apt.conf.d /etc/apt/sources.list.d "$bare/etc/apt/"
    [ -f /etc/apt/sources.list ] && cp /etc/apt/sources.list "$bare/etc/apt/"
    cp /etc/resolv.conf /etc/hosts "$bare/etc/"
    cp -rL /etc/ssl/certs "$bare/etc/ssl/" 2>/dev/null
    # Sources of other makers than Debian are no part of a bare machine.
    grep -LE 'debian-archive-keyring|^deb .*debian' "$bare"/etc/apt/sources.list.d/* | xargs -r rm -f

    for place in proc dev dev/pts dev/shm; do
        mkdir -p "$bare/$place"
        case $place in
        proc) mount -t proc proc "$bare/proc" ;;
        dev) mount -t tmpfs -o mode=755 dev "$bare/dev" && for node in null:3 zero:5 full:7 random:8 urandom:9; do
            mknod -m 666 "$bare/dev/${node%:*}" c 1 "${node#*:}"
        done && mknod -m 666 "$bare/dev/tty" c 5 0 && ln -s /proc/self/fd "$bare/dev/fd" &&
            ln -s pts/ptmx "$bare/dev/ptmx" ;;
        dev/pts) mount -t devpts -o newinstance,ptmxmode=0666 devpts "$bare/dev/pts" ;;
        dev/shm) mount -t tmpfs -o mode=1777 shm "$bare/dev/shm" ;;
        esac || exit 1
        mounted+=("$bare/$place")
    done
}
