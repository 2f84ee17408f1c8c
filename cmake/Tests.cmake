# nembra_add_test(NAME LIBRARIES... ): a Qt test from NAME.cpp in the current folder. Every test runs in a private
# network, with a home of its own and without a screen, so that tests can't see each other or the machine.

nembra_require_qt_test()

# Seconds for one test program, and for one of its functions with all of its rows, so that what hangs fails and says
# where. Sanitizers slow everything down.
if(NEMBRA_SANITIZERS)
    set(NEMBRA_TEST_SECONDS 900)
    set(NEMBRA_FUNCTION_SECONDS 400)
else()
    set(NEMBRA_TEST_SECONDS 240)
    set(NEMBRA_FUNCTION_SECONDS 60)
endif()

# They are started first: what takes longest must not come last. And they get three times as long.
set(NEMBRA_LONG_TESTS
    tst_devicelistfile_killed
    tst_program tst_faultmatrix_firmware tst_faultmatrix tst_randomwalk tst_updatefirmwaredialog tst_giveupage
    tst_updatethread_waits tst_updatethread tst_loglist_bursts tst_loglist_lines tst_hostilesettings tst_webuploads
    tst_transferlimits tst_devicelogin tst_mainwindow_firmware tst_torture_window tst_torture_transfers
    tst_torture_update tst_spoofing)

# They try everything with everything, which takes as long as all the others together: for scripts/test --all.
set(NEMBRA_THOROUGH_TESTS
    tst_faultmatrix tst_faultmatrix_firmware tst_spoofing tst_torture_window tst_torture_transfers
    tst_torture_update)

function(nembra_set_test_environment name)
    set(home "${CMAKE_BINARY_DIR}/tests/home/${name}")
    set(function_seconds ${NEMBRA_FUNCTION_SECONDS})
    set(test_seconds ${NEMBRA_TEST_SECONDS})
    if(name IN_LIST NEMBRA_LONG_TESTS)
        math(EXPR function_seconds "3 * ${function_seconds}")
        math(EXPR test_seconds "3 * ${test_seconds}")
    endif()
    file(MAKE_DIRECTORY "${home}/runtime" "${home}/tmp")
    file(CHMOD "${home}/runtime" PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
    set(environment
        "HOME=${home}"
        "XDG_CONFIG_HOME=${home}/config"
        "XDG_DATA_HOME=${home}/data"
        "XDG_CACHE_HOME=${home}/cache"
        "XDG_RUNTIME_DIR=${home}/runtime"
        "TMPDIR=${home}/tmp"
        "LC_ALL=C.UTF-8"
        "QTEST_FUNCTION_TIMEOUT=${function_seconds}000"
        "ASAN_OPTIONS=detect_leaks=1"
        "LSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/support/leaks.supp:print_suppressions=0"
        "UBSAN_OPTIONS=print_stacktrace=1"
        "TSAN_OPTIONS=ignore_noninstrumented_modules=1:suppressions=${CMAKE_SOURCE_DIR}/tests/support/races.supp"
        "GCOV_PREFIX=${home}/counts")
    if(NOT WIN32)
        # Windows reads another form of TZ, and its Qt has no platform without a screen.
        list(APPEND environment "TZ=Europe/Berlin" "QT_QPA_PLATFORM=offscreen")
    endif()
    set_tests_properties(${name} PROPERTIES
        ENVIRONMENT "${environment}"
        TIMEOUT ${test_seconds})
endfunction()

function(nembra_add_test name)
    add_executable(${name} ${name}.cpp)
    target_link_libraries(${name} PRIVATE nembra_test_options ${ARGN} Qt5::Test)
    if(ARGN MATCHES "nembrahub_gui|nembrahub_app|nembra_test_support|nembra_test_transfers|nembra_test_torture")
        # Not on Windows, where only a few tests with these libraries are built.
        if(TARGET nembra_test_support)
            target_precompile_headers(${name} REUSE_FROM nembra_test_support)
        endif()
    elseif(ARGN MATCHES "nembrahub_core")
        target_precompile_headers(${name} REUSE_FROM nembra_test_directory)
    endif()
    # One call of moc instead of a search in all of the test's sources, and a second source that holds nothing.
    set(moc "${CMAKE_CURRENT_BINARY_DIR}/${name}.moc")
    qt5_generate_moc(${name}.cpp "${moc}")
    set_property(SOURCE ${name}.cpp APPEND PROPERTY OBJECT_DEPENDS "${moc}")
    add_custom_target(${name}_moc DEPENDS "${moc}")
    add_dependencies(nembra_mocs ${name}_moc)
    set_target_properties(${name} PROPERTIES AUTOMOC OFF AUTOUIC OFF AUTORCC OFF)
    target_include_directories(${name} PRIVATE "${CMAKE_CURRENT_BINARY_DIR}")
    # A data row leaves out what it doesn't care about.
    target_compile_options(${name} PRIVATE -Wno-missing-field-initializers)
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests")
    # The emulator runs programs of another system. CMake itself would put it in front of the whole command.
    add_test(NAME ${name} COMMAND
        "${CMAKE_SOURCE_DIR}/scripts/private-network" ${CMAKE_CROSSCOMPILING_EMULATOR} "$<TARGET_FILE:${name}>")
    nembra_set_test_environment(${name})
    set(labels ${NEMBRA_TEST_LABEL})
    if(name IN_LIST NEMBRA_THOROUGH_TESTS)
        list(APPEND labels thorough)
    endif()
    set_tests_properties(${name} PROPERTIES LABELS "${labels}")
    if(name IN_LIST NEMBRA_LONG_TESTS)
        set_tests_properties(${name} PROPERTIES COST 1000)
    endif()
endfunction()
