#!/usr/bin/env python3
"""Debian's kernel for "simrouter --kernel": tools/fetch_kernel.py FOLDER

The package is fetched and read, never installed. FOLDER then holds
    vmlinux     the kernel without its compression: qemu starts it by PVH, in half the time
    modules/    what the simulated router needs of its modules, named in the order of loading
A package (linux-image-*.deb) that is in FOLDER already is taken. Exit status 1: there is none, and none can be fetched.
"""
import lzma
import pathlib
import re
import subprocess
import sys
import tarfile

# The first line brings the machine up, the second is the USB devices, the third the network.
WANTED = """virtio_pci 9p 9pnet_virtio overlay virtio_console
    vhci_hcd option qcserial cdc_acm cdc_wdm qmi_wwan cdc_ether cdc_ncm cdc_mbim
    tun veth dummy ppp_generic ppp_async""".split()
# No module that is wanted needs one of these, and together they are most of the package.
LEFT_OUT = re.compile(r"/kernel/(sound|drivers/(gpu|media|scsi|infiniband|iio|staging|input|hwmon|mtd|ata|isdn|video))/")
XZ_MAGIC = b"\xfd7zXZ\0"


def fetch(folder):
    packages = sorted(folder.glob("linux-image-*.deb"))
    if packages:
        return packages[-1]
    shown = subprocess.run(["apt-cache", "depends", "linux-image-amd64"], capture_output=True, text=True, check=True)
    image = re.search(r"Depends: (linux-image-\S+)", shown.stdout).group(1)
    subprocess.run(["apt-get", "-qq", "download", image], cwd=folder, check=True, capture_output=True)
    return next(folder.glob("linux-image-*.deb"))


def plain(content):
    return lzma.LZMADecompressor().decompress(content) if content.startswith(XZ_MAGIC) else content


def module_name(path):
    return path.rpartition("/")[2].partition(".ko")[0].replace("-", "_")


def read_package(package):
    """The compressed kernel, and the modules by their names."""
    kernel, modules = b"", {}
    with subprocess.Popen(["dpkg-deb", "--fsys-tarfile", package], stdout=subprocess.PIPE) as unpacker, \
            tarfile.open(fileobj=unpacker.stdout, mode="r|") as archive:
        for member in archive:
            if member.isfile() and "/boot/vmlinuz-" in member.name:
                kernel = archive.extractfile(member).read()
            elif member.isfile() and ".ko" in member.name and not LEFT_OUT.search(member.name):
                modules[module_name(member.name)] = archive.extractfile(member).read()
    return kernel, modules


def needs_of(content):
    found = re.search(rb"\0depends=([^\0]*)\0", content)
    return found.group(1).decode().replace("-", "_").split(",") if found else []


def in_order(wanted, modules, done):
    """Each module after those that it needs; what is none is a part of this kernel itself."""
    for name in wanted:
        if name in modules and name not in done:
            content = plain(modules[name])
            done[name] = b""
            in_order(needs_of(content), modules, done)
            del done[name]
            done[name] = content
    return done


def main():
    folder = pathlib.Path(sys.argv[1])
    folder.mkdir(parents=True, exist_ok=True)
    if (folder / "vmlinux").exists():
        return 0
    try:
        package = fetch(folder)
    except (OSError, subprocess.CalledProcessError, AttributeError, StopIteration):
        return 1
    kernel, modules = read_package(package)
    (folder / "modules").mkdir(exist_ok=True)
    for number, (name, content) in enumerate(in_order(WANTED, modules, {}).items()):
        (folder / "modules" / f"{number:02}-{name}.ko").write_bytes(content)
    # Written last: with it the folder is complete.
    (folder / "vmlinux.new").write_bytes(plain(kernel[kernel.index(XZ_MAGIC):]))
    (folder / "vmlinux.new").rename(folder / "vmlinux")
    package.unlink()
    return 0


if __name__ == "__main__":
    sys.exit(main())
