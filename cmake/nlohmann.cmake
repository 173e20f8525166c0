# nlohmann's JSON, header only: the simulator stand-in reads recordings with it, kvbeacon-web the
# JSON of untrusted senders. For Windows the host's headers serve, reached through a folder of
# their own, so that the host's other headers stay out of the cross build.
if(TARGET nlohmann_json::nlohmann_json)
    return()
endif()
if(WIN32)
    set(KVB_NLOHMANN_HEADERS /usr/include/nlohmann CACHE PATH "The host's nlohmann JSON headers")
    set(nlohmann_root "${CMAKE_BINARY_DIR}/nlohmann-headers")
    file(MAKE_DIRECTORY "${nlohmann_root}")
    file(CREATE_LINK "${KVB_NLOHMANN_HEADERS}" "${nlohmann_root}/nlohmann" SYMBOLIC)
    add_library(nlohmann_json::nlohmann_json INTERFACE IMPORTED GLOBAL)
    target_include_directories(nlohmann_json::nlohmann_json SYSTEM INTERFACE "${nlohmann_root}")
else()
    find_package(nlohmann_json 3.9 REQUIRED)
endif()
