# kvb_add_test(NAME <name> SOURCES <files...> [LIBS <libs...>] [TIMEOUT <s>] [PORTABLE]
#              [LOCK <resource>] [DEFINES <defs...>] [INCLUDES <dirs...>]
#              [RUN_UNDER <command...>] [ENVIRONMENT <var=value...>])
# One QtTest executable per behaviour, run by CTest without a display. PORTABLE marks the
# suites that need none of the Linux stand-ins: only those are built for Windows, where CTest
# runs them under Wine. LOCK names a resource that tests take turns with (the simulator's
# objects have fixed names).
function(kvb_add_test)
    cmake_parse_arguments(T "PORTABLE" "NAME;TIMEOUT;LOCK" "SOURCES;LIBS;DEFINES;INCLUDES;RUN_UNDER;ENVIRONMENT"
                          ${ARGN})
    if(WIN32 AND NOT T_PORTABLE)
        # Left out, but still a target, so that dependencies declared on it hold.
        add_custom_target(${T_NAME})
        return()
    endif()
    add_executable(${T_NAME} ${T_SOURCES})
    target_link_libraries(${T_NAME} PRIVATE Qt5::Test kvb_testsupport ${T_LIBS})
    target_compile_definitions(${T_NAME} PRIVATE ${T_DEFINES})
    target_include_directories(${T_NAME} PRIVATE ${T_INCLUDES})
    if(T_RUN_UNDER)
        add_test(NAME ${T_NAME} COMMAND ${T_RUN_UNDER} $<TARGET_FILE:${T_NAME}>)
    else()
        # By the target's name, so that a cross build runs it through its emulator (Wine).
        add_test(NAME ${T_NAME} COMMAND ${T_NAME})
    endif()
    if(NOT T_TIMEOUT)
        set(T_TIMEOUT 120)
    endif()
    # Wine hides Unix variables named QT_* from Windows programs and hands them WINEQT_* instead.
    set(environment QT_QPA_PLATFORM=offscreen WINEQT_QPA_PLATFORM=offscreen ${T_ENVIRONMENT})
    set_tests_properties(${T_NAME} PROPERTIES TIMEOUT ${T_TIMEOUT} ENVIRONMENT "${environment}")
    if(T_LOCK)
        set_tests_properties(${T_NAME} PROPERTIES RESOURCE_LOCK ${T_LOCK})
    endif()
endfunction()
