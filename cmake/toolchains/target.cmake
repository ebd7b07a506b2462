# Cross-compiles for a router's processor with the compiler that tools/setup_target.sh puts into build-target/.cache:
# -DTARGET=mips-linux-musl and so on. Programs are linked statically; the library uses the target's own libc. mips_24kc alone
# is compiled and linked as OpenWrt's build system does it, to shared libraries of this machine's cross-compiler.
set(CMAKE_SYSTEM_NAME Linux)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TARGET CROSS_CACHE)
string(REGEX REPLACE "-.*|_24kc" "" CMAKE_SYSTEM_PROCESSOR "${TARGET}")

set(CMAKE_C_COMPILER "${CROSS_CACHE}/bin/${TARGET}-cc")
set(CMAKE_CXX_COMPILER "${CROSS_CACHE}/bin/${TARGET}-c++")
set(CMAKE_AR "${CROSS_CACHE}/bin/ar")
set(CMAKE_RANLIB "${CROSS_CACHE}/bin/ranlib")
# A program would need the C++ library, which takes minutes to build and which nothing on the router uses.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(leave_out "-s -Wl,-T,\"${CMAKE_CURRENT_LIST_DIR}/leave_out.ld\"")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static ${leave_out}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${leave_out}")
set(POSITION_INDEPENDENT_PROGRAM OFF CACHE BOOL "")
# Without a table of addresses, which every call would go through, code for MIPS is a seventh smaller.
if("${TARGET}" STREQUAL mips_24kc)
    set(CMAKE_EXE_LINKER_FLAGS_INIT "-no-pie ${leave_out}")
    set(PROGRAM_OPTIONS -fno-pic CACHE STRING "")
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^mips")
    set(PROGRAM_OPTIONS -fno-pic -mno-abicalls -mno-gpopt CACHE STRING "")
endif()

set(CMAKE_FIND_ROOT_PATH "${CROSS_CACHE}/${TARGET}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)

if(NOT CMAKE_SYSTEM_PROCESSOR STREQUAL CMAKE_HOST_SYSTEM_PROCESSOR)
    find_program(QEMU qemu-${CMAKE_SYSTEM_PROCESSOR}-static)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${QEMU})
endif()
