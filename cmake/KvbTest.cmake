# kvb_add_test(NAME <name> SOURCES <files...> LIBS <libs...>)
# One QtTest executable per behaviour, run by CTest without a display.
function(kvb_add_test)
    cmake_parse_arguments(T "" "NAME;TIMEOUT" "SOURCES;LIBS" ${ARGN})
    add_executable(${T_NAME} ${T_SOURCES})
    target_link_libraries(${T_NAME} PRIVATE Qt5::Test ${T_LIBS})
    target_include_directories(${T_NAME} PRIVATE ${PROJECT_SOURCE_DIR}/tests/common)
    add_test(NAME ${T_NAME} COMMAND ${T_NAME})
    if(NOT T_TIMEOUT)
        set(T_TIMEOUT 120)
    endif()
    set_tests_properties(${T_NAME} PROPERTIES
        TIMEOUT ${T_TIMEOUT}
        ENVIRONMENT "QT_QPA_PLATFORM=offscreen")
endfunction()
