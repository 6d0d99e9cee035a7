# What all folders of the project need for the build.

set(VELTRA_SANITIZE "" CACHE STRING "Sanitizers to build with, as for -fsanitize=")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_AUTOMOC OFF)

find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(Qt6 6.4 REQUIRED COMPONENTS Core Gui Widgets LinguistTools)
find_package(OpenSSL 3.0 REQUIRED COMPONENTS Crypto)
find_package(nlohmann_json 3.11 REQUIRED)
find_package(GTest REQUIRED)
find_package(benchmark REQUIRED)
pkg_check_modules(systemd REQUIRED IMPORTED_TARGET libsystemd)
pkg_check_modules(elf REQUIRED IMPORTED_TARGET libelf)
pkg_check_modules(plist REQUIRED IMPORTED_TARGET libplist-2.0)
include(GoogleTest)

# ccache is used if it is installed. To cache sources with precompiled headers, it needs this
# sloppiness; to share its cache between checkouts, it needs the base folder.
find_program(VELTRA_CCACHE ccache)
mark_as_advanced(VELTRA_CCACHE)
if(VELTRA_CCACHE AND NOT DEFINED CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER
        env CCACHE_SLOPPINESS=pch_defines,time_macros "CCACHE_BASEDIR=${CMAKE_SOURCE_DIR}"
            CCACHE_NOHASHDIR=1 "${VELTRA_CCACHE}")
endif()

add_library(veltra_warnings INTERFACE)
target_compile_options(veltra_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Wold-style-cast
    -Wcast-align -Wnull-dereference
    # At high optimisation levels, GCC 12 warns about overlapping string assignments that do not
    # overlap.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)

add_library(veltra_options INTERFACE)
target_include_directories(veltra_options INTERFACE "${CMAKE_SOURCE_DIR}")
target_compile_definitions(veltra_options INTERFACE
    QT_NO_CAST_FROM_ASCII QT_NO_KEYWORDS QT_NO_URL_CAST_FROM_STRING)
if(VELTRA_SANITIZE)
    target_compile_options(veltra_options INTERFACE
        -fsanitize=${VELTRA_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all
        # The vptr check probes memory through a pipe, so it reports false errors when no descriptor
        # is left.
        -fno-sanitize=vptr)
    target_link_options(veltra_options INTERFACE -fsanitize=${VELTRA_SANITIZE})
endif()
if(CMAKE_BUILD_TYPE STREQUAL "Release")
    target_compile_options(veltra_options INTERFACE
        -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -fstack-protector-strong -fcf-protection)
    target_link_options(veltra_options INTERFACE -Wl,-z,relro,-z,now)
    include(CheckPIESupported)
    check_pie_supported()
endif()

# A folder's library: veltra_library(NAME SOURCES ... PUBLIC ... [PRIVATE ...] [QT])
# QT runs moc over the sources; without it the library must not know Qt at all.
function(veltra_library name)
    cmake_parse_arguments(arg "QT" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
    add_library(${name} STATIC ${arg_SOURCES})
    set_target_properties(${name} PROPERTIES AUTOMOC ${arg_QT} AUTOUIC ${arg_QT})
    target_link_libraries(${name} PUBLIC veltra_options ${arg_PUBLIC}
                                  PRIVATE veltra_warnings ${arg_PRIVATE})
endfunction()

# A program: veltra_program(NAME SOURCES ... LIBRARIES ... [QT])
function(veltra_program name)
    cmake_parse_arguments(arg "QT" "" "SOURCES;LIBRARIES" ${ARGN})
    add_executable(${name} ${arg_SOURCES})
    set_target_properties(${name} PROPERTIES AUTOMOC ${arg_QT} AUTOUIC ${arg_QT})
    target_link_libraries(${name} PRIVATE veltra_warnings veltra_options ${arg_LIBRARIES})
endfunction()

# All test programs share its precompiled header.
file(GENERATE OUTPUT "${CMAKE_BINARY_DIR}/Precompiled.cpp" CONTENT "")
add_library(veltra_test_precompiled OBJECT "${CMAKE_BINARY_DIR}/Precompiled.cpp")
target_compile_options(veltra_test_precompiled PRIVATE -O0)
target_link_libraries(veltra_test_precompiled PRIVATE veltra_warnings veltra_options GTest::gtest)
target_precompile_headers(veltra_test_precompiled PRIVATE "${CMAKE_SOURCE_DIR}/tests/Precompiled.h")

# Turns off warnings about names that are local to another source compiled together with this one.
add_library(veltra_compiled_as_one INTERFACE)
target_compile_options(veltra_compiled_as_one INTERFACE
    -Wno-shadow $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)

# Most of the build time goes into the tests, and this more than halves theirs. Several sources are
# compiled as one, so local names must be unique across a test program's sources. The precompiled
# header can only be used by code that is position independent in the same way.
function(veltra_compile_fast name)
    target_compile_options(${name} PRIVATE -O0 -fPIC)
    # Last, so that it comes after the warnings that it turns off.
    target_link_libraries(${name} PRIVATE veltra_compiled_as_one)
    target_precompile_headers(${name} REUSE_FROM veltra_test_precompiled)
    set_target_properties(${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 4)
endfunction()

# A GoogleTest program, each of whose test cases is a separate CTest test:
# veltra_test(NAME SOURCES ... LIBRARIES ... [PREFIX TEXT] [QT])
# PREFIX is put before the test cases' names if a program runs those of another one again.
# Programs that need a Qt application provide their own main (see tests/QtTestMain.cpp).
function(veltra_test name)
    cmake_parse_arguments(arg "QT" "PREFIX" "SOURCES;LIBRARIES" ${ARGN})
    if(arg_QT)
        veltra_program(${name} QT
            SOURCES ${arg_SOURCES} "${CMAKE_SOURCE_DIR}/tests/QtTestMain.cpp"
            LIBRARIES ${arg_LIBRARIES} Qt6::Widgets GTest::gtest)
    else()
        veltra_program(${name} SOURCES ${arg_SOURCES}
                       LIBRARIES ${arg_LIBRARIES} GTest::gtest GTest::gtest_main)
    endif()
    veltra_compile_fast(${name})
    set(prefix "")
    if(arg_PREFIX)
        set(prefix TEST_PREFIX "${arg_PREFIX}")
    endif()
    gtest_discover_tests(${name} ${prefix} NO_PRETTY_VALUES DISCOVERY_TIMEOUT 60
        PROPERTIES ENVIRONMENT "QT_QPA_PLATFORM=offscreen")
endfunction()
