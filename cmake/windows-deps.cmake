# What kvbeacon-web links on Windows, cross-built by scripts/mingw-deps into KVB_MINGW_DEPS
# (OpenSSL, libmosquitto, libqrencode), and the headers of Boost (nlohmann's JSON comes from
# cmake/nlohmann.cmake). The same target names as the Linux build gives them, so that web/ names
# each library once.
# Without them kvbeacon-web is left out and kvBeacon itself still builds.
set(KVB_MINGW_DEPS "" CACHE PATH "The folder scripts/mingw-deps printed")
if(NOT KVB_MINGW_DEPS)
    message(STATUS "kvbeacon-web is left out: KVB_MINGW_DEPS names no folder of scripts/mingw-deps")
    set(KVB_WINDOWS_DEPS OFF)
    return()
endif()
if(NOT EXISTS "${KVB_MINGW_DEPS}/.complete")
    message(FATAL_ERROR "KVB_MINGW_DEPS=${KVB_MINGW_DEPS} is no finished folder of scripts/mingw-deps")
endif()
set(KVB_WINDOWS_DEPS ON)

# Boost is header-only here, and the host's headers serve any target; they are reached through
# a folder of their own, so that the host's other headers stay out of the cross build.
set(KVB_BOOST_HEADERS /usr/include/boost CACHE PATH "The host's Boost headers")
set(boost_root "${CMAKE_BINARY_DIR}/boost-headers")
file(MAKE_DIRECTORY "${boost_root}")
file(CREATE_LINK "${KVB_BOOST_HEADERS}" "${boost_root}/boost" SYMBOLIC)
add_library(Boost::headers INTERFACE IMPORTED GLOBAL)
# Windows 10 is the oldest the simulator runs on; Asio needs Winsock and its extensions.
target_compile_definitions(Boost::headers INTERFACE _WIN32_WINNT=0x0A00 WIN32_LEAN_AND_MEAN)
target_include_directories(Boost::headers SYSTEM INTERFACE "${boost_root}")
target_link_libraries(Boost::headers INTERFACE ws2_32 mswsock)
# Beast's templates make more sections than a PE object holds by default.
target_compile_options(Boost::headers INTERFACE -Wa,-mbig-obj)

function(kvb_import_dll name implib)
    add_library(${name} SHARED IMPORTED GLOBAL)
    set_target_properties(${name} PROPERTIES IMPORTED_IMPLIB "${KVB_MINGW_DEPS}/lib/${implib}"
        INTERFACE_INCLUDE_DIRECTORIES "${KVB_MINGW_DEPS}/include")
endfunction()
kvb_import_dll(OpenSSL::Crypto libcrypto.dll.a)
kvb_import_dll(OpenSSL::SSL libssl.dll.a)
target_link_libraries(OpenSSL::SSL INTERFACE OpenSSL::Crypto)
kvb_import_dll(kvb::mosquitto libmosquitto.dll.a)
add_library(kvb::qrencode STATIC IMPORTED GLOBAL)
set_target_properties(kvb::qrencode PROPERTIES IMPORTED_LOCATION "${KVB_MINGW_DEPS}/lib/libqrencode.a"
    INTERFACE_INCLUDE_DIRECTORIES "${KVB_MINGW_DEPS}/include")
