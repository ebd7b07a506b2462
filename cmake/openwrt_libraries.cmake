# openwrt_libraries: json-c, libubus, libubox, libblobmsg_json and libuci. A router's build takes the system's, or, if there
# are none, the stand-ins of host/: the same headers, the same functions, the same formats. A workstation's build takes the
# stand-ins even if the system has the real ones: simulator and unit tests link them, and a program cannot have both.
option(STAND_INS "Link the stand-ins of host/ even if the system has libubus, libubox and libuci" ${WORKSTATION})
find_path(JSON_C_INCLUDE_DIR json-c/json.h REQUIRED)
find_library(JSON_C_LIBRARY json-c REQUIRED)

add_library(openwrt_libraries INTERFACE)
target_include_directories(openwrt_libraries SYSTEM INTERFACE ${JSON_C_INCLUDE_DIR})

if(NOT STAND_INS)
    find_path(UBUS_INCLUDE_DIR libubus.h)
    find_path(UBOX_INCLUDE_DIR libubox/blobmsg_json.h)
    find_path(UCI_INCLUDE_DIR uci.h)
    find_library(UBUS_LIBRARY ubus)
    find_library(UBOX_LIBRARY ubox)
    find_library(BLOBMSG_JSON_LIBRARY blobmsg_json)
    find_library(UCI_LIBRARY uci)
endif()

if(NOT STAND_INS AND UBUS_INCLUDE_DIR AND UBOX_INCLUDE_DIR AND UCI_INCLUDE_DIR
        AND UBUS_LIBRARY AND UBOX_LIBRARY AND BLOBMSG_JSON_LIBRARY AND UCI_LIBRARY)
    message(STATUS "libubus, libubox and libuci: the system's")
    target_include_directories(openwrt_libraries SYSTEM INTERFACE
        ${UBUS_INCLUDE_DIR} ${UBOX_INCLUDE_DIR} ${UCI_INCLUDE_DIR})
    target_link_libraries(openwrt_libraries INTERFACE
        ${UBUS_LIBRARY} ${BLOBMSG_JSON_LIBRARY} ${UBOX_LIBRARY} ${UCI_LIBRARY} ${JSON_C_LIBRARY})
else()
    message(STATUS "libubus, libubox and libuci: the stand-ins of host/")
    set(USE_HOST_STAND_INS ON)
    target_link_libraries(openwrt_libraries INTERFACE host_uci host_ubus ${JSON_C_LIBRARY})
endif()

# The simulated router speaks ubus and reads UCI files with the stand-ins whatever the product links to.
if(USE_HOST_STAND_INS OR WORKSTATION)
    add_subdirectory(host)
endif()
