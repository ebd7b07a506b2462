# Stands in for OpenWrt's build system: what the package's Makefile uses of it, with ROOT as the folder for everything.
INCLUDE_DIR:=$(TOPDIR)/include
DL_DIR:=$(ROOT)/dl
PKG_BUILD_DIR=$(ROOT)/build
PKG_INSTALL_DIR=$(PKG_BUILD_DIR)/ipkg-install
INSTALL_DIR:=install -d -m0755
INSTALL_BIN:=install -m0755
INSTALL_DATA:=install -m0644
INSTALL_CONF:=install -m0600
CP:=cp -fpR
