define Build/Compile/Default
	cmake -S $(PKG_BUILD_DIR) -B $(PKG_BUILD_DIR)/$(CMAKE_BINARY_SUBDIR) -G Ninja -DCMAKE_BUILD_TYPE=MinSizeRel -DCMAKE_DISABLE_PRECOMPILE_HEADERS=OFF \
		$(CMAKE_OPTIONS) >/dev/null
	cmake --build $(PKG_BUILD_DIR)/$(CMAKE_BINARY_SUBDIR) >/dev/null
endef
