# nembra_options: the language standard, the warnings and the sanitizers of every target of ours.
# nembra_qt_options: on top of that, the strict dialect of Qt that the program's own code is written in.

add_library(nembra_options INTERFACE)
target_compile_features(nembra_options INTERFACE cxx_std_17)
target_compile_options(nembra_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor -Woverloaded-virtual
    -Wold-style-cast -Wcast-align -Wformat=2 -Wimplicit-fallthrough
    $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond -Wlogical-op>
    $<$<BOOL:${NEMBRA_WARNINGS_AS_ERRORS}>:-Werror>)
if(NEMBRA_SANITIZERS)
    target_compile_options(nembra_options INTERFACE
        -fsanitize=${NEMBRA_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(nembra_options INTERFACE -fsanitize=${NEMBRA_SANITIZERS})
    if(NEMBRA_SANITIZERS MATCHES "thread")
        # Boost has fences, which ThreadSanitizer doesn't see; they stand beside mutexes, which it does.
        target_compile_options(nembra_options INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-tsan>)
    endif()
endif()

# What makes a defect in memory harder to use for whoever sends us the bytes. Sanitizers bring checks of their own, which
# these would hide.
include(CheckPIESupported)
check_pie_supported()
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
if(NOT NEMBRA_SANITIZERS AND NOT WIN32)
    target_compile_options(nembra_options INTERFACE
        -fstack-protector-strong -fstack-clash-protection
        $<$<STREQUAL:${CMAKE_SYSTEM_PROCESSOR},x86_64>:-fcf-protection>
        $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>)
    target_link_options(nembra_options INTERFACE -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
endif()

# Of tests: they are built far more often than they run, and the optimizer takes half of that time.
add_library(nembra_test_options INTERFACE)
target_compile_options(nembra_test_options INTERFACE -O0)
if(NEMBRA_SANITIZERS MATCHES "undefined")
    # Undefined behaviour in a test ends it without a message, which would take a quarter of the compiler's time.
    target_compile_options(nembra_test_options INTERFACE -fsanitize-undefined-trap-on-error)
endif()
# mold links them in a quarter of the time.
find_program(NEMBRA_MOLD mold NO_CACHE)
if(NEMBRA_MOLD)
    include(CheckLinkerFlag)
    check_linker_flag(CXX -fuse-ld=mold NEMBRA_LINKS_WITH_MOLD)
    if(NEMBRA_LINKS_WITH_MOLD)
        target_link_options(nembra_test_options INTERFACE -fuse-ld=mold)
    endif()
endif()

add_library(nembra_qt_options INTERFACE)
target_link_libraries(nembra_qt_options INTERFACE nembra_options)
target_compile_definitions(nembra_qt_options INTERFACE
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_CAST_FROM_BYTEARRAY QT_NO_URL_CAST_FROM_STRING
    QT_NO_FOREACH QT_STRICT_ITERATORS QT_NO_NARROWING_CONVERSIONS_IN_CONNECT QT_DISABLE_DEPRECATED_BEFORE=0x050C00)
