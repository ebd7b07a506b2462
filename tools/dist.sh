#!/bin/sh
# Makes the release archive of the last commit, the feed's Makefile with its sum, and the scripts of the feed's tests:
# dist.sh <folder>
# The archive's bytes are the same on every machine: one order, one owner, one time, two modes. The feed's Makefile stays
# out, since it names the archive's sum. MAINTAINER ("Name <mail address>") and URL, if they are set, go into that Makefile:
# who looks after the package there, and where it has its page and, below releases/, its archive.
set -eu

out=$1
version=$(sed -n 's/^project(modemctl VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)
for package in openwrt luci-app-modemctl; do
    grep -qx "PKG_VERSION:=$version" "packaging/$package/Makefile" || {
        echo "CMakeLists.txt and packaging/$package/Makefile name different versions" >&2
        exit 1
    }
done
day=$(sed -n "s/^## $version (\([0-9-]*\))$/\1/p" CHANGELOG.md)
[ -n "$day" ] || {
    echo "CHANGELOG.md has no \"## $version (YYYY-MM-DD)\"" >&2
    exit 1
}

case ${MAINTAINER-Name <name@host>}:${URL-https://host} in
*['|&\"'"
"]*) echo "MAINTAINER and URL go into the Makefile without | & \\ and \"" >&2 && exit 1 ;;
?*" <"?*@?*">:https://"?*) ;;
*) echo "MAINTAINER is to be \"Name <mail address>\", and URL an address that begins with https://" >&2 && exit 1 ;;
esac

name=modemctl-$version
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
mkdir -p "$root/$name" "$out"
git archive --format=tar HEAD | tar -C "$root/$name" -xf -
rm "$root/$name/packaging/openwrt/Makefile"
LC_ALL=C tar -C "$root" --sort=name --format=ustar --mtime="$day 00:00Z" --owner=0 --group=0 --numeric-owner \
    --mode='u=rwX,go=rX' -cf - "$name" | gzip -9n >"$out/$name.tar.gz"
sum=$(sha256sum "$out/$name.tar.gz" | cut -d ' ' -f 1)
git show HEAD:packaging/openwrt/Makefile |
    sed "s/^PKG_HASH:=skip$/PKG_HASH:=$sum/${MAINTAINER:+;s|^PKG_MAINTAINER:=.*|PKG_MAINTAINER:=$MAINTAINER|}" |
    sed "${URL:+s|https://modemctl.invalid|$URL|}" >"$out/Makefile"
# A feed has the archive alone. What the repository's own build needs would have to be explained to its reviewers.
# shellcheck disable=SC2016 # make expands it
sed -i -e '/^# The OpenWrt packages/,/^$/c\
# The OpenWrt packages of modemctl.\
' -e '/^REPOSITORY:=/,/^else$/d; /^endif$/d' \
    -e '/(if $(PKG_SOURCE),/{N;s/.*/\t$(call Build\/Prepare\/Default)/}' "$out/Makefile"
[ -z "${MAINTAINER:-}" ] || sed -i '/^# Nobody /,/^PKG_MAINTAINER/{/^#/d}' "$out/Makefile"
! grep -q 'modemctl[.]invalid' "$out/Makefile" || echo "$out/Makefile names no maintainer or no URL yet:" \
    "make dist MAINTAINER='Name <mail address>' URL=https://..." >&2
for script in test.sh test-version.sh; do
    git show "HEAD:packaging/openwrt/$script" >"$out/$script"
done
chmod 644 "$out/$name.tar.gz" "$out"/Makefile "$out"/*.sh
echo "$sum  $out/$name.tar.gz"
