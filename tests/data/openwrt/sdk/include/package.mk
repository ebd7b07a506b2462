define BuildPackage
  $(eval $(Package/$(1)))
  .PHONY: $(1)
  all: $(1)
  $(1): installed
	$(call Package/$(1)/install,$(ROOT)/packages/$(1))
	echo "$(strip $(TITLE))|$(strip $(DEPENDS))|$(strip $(PKGARCH))|$(strip $(Package/$(1)/conffiles))" >$(ROOT)/packages/$(1).control
  DEPENDS:=
  PKGARCH:=
endef

.PHONY: all prepared compiled installed
all:

prepared:
	$(Build/Prepare)

compiled: prepared
	$(Build/Compile)

installed: compiled
	DESTDIR=$(PKG_INSTALL_DIR) cmake --install $(PKG_BUILD_DIR)/$(CMAKE_BINARY_SUBDIR) --prefix /usr >/dev/null
	$(call Build/InstallDev,$(ROOT)/staging)
