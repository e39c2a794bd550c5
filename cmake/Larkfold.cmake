# What every target of this project has in common: language, warnings, sanitizers, and the three ways to declare a
# target (a library of one folder and floor, a test program, a benchmark program).

include(GNUInstallDirs)

option(LARKFOLD_TESTS "Build the tests" ON)
option(LARKFOLD_BENCHMARKS "Build the benchmark programs" ON)
option(LARKFOLD_FUZZ "Build the fuzzing of the readers of the stored formats (Clang only)" OFF)
option(LARKFOLD_PRECOMPILE "Read the headers that most sources share once (a source then may forget an include)" OFF)
option(LARKFOLD_WARNINGS_AS_ERRORS "Treat warnings as errors" ON)
set(LARKFOLD_SANITIZE "" CACHE STRING "Sanitizers, as -fsanitize takes them: address,undefined or thread")
set(LARKFOLD_UPDATE_FEED "" CACHE STRING "The https address of the feed of releases; without one there are no checks")
set(LARKFOLD_UPDATE_KEY "" CACHE STRING "The public key of whoever signs that feed, as scripts/sign-feed prints it")

set(CMAKE_CXX_STANDARD 23)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

find_program(LARKFOLD_CCACHE ccache)
if(LARKFOLD_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${LARKFOLD_CCACHE}")
endif()

if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  set(LARKFOLD_SYSTEM linux)
elseif(CMAKE_SYSTEM_NAME STREQUAL "Darwin")
  set(LARKFOLD_SYSTEM macos)
else()
  message(FATAL_ERROR "Larkfold has no platform layer for ${CMAKE_SYSTEM_NAME}: add src/platform/<system>/ first.")
endif()

add_library(larkfold_options INTERFACE)
target_compile_options(larkfold_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor -Woverloaded-virtual
  -fno-omit-frame-pointer)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 14)
  # It takes the empty storage of a std::optional for a read of what was never written; clang-tidy and the sanitizers
  # look for the real thing.
  target_compile_options(larkfold_options INTERFACE -Wno-maybe-uninitialized)
endif()
if(LARKFOLD_PRECOMPILE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # It loses sight of which header is the system's, and warns of what it takes for an overflow in a std::string there.
  target_compile_options(larkfold_options INTERFACE
    -Wno-array-bounds -Wno-stringop-overread -Wno-stringop-overflow -Wno-restrict)
endif()
if(LARKFOLD_WARNINGS_AS_ERRORS)
  target_compile_options(larkfold_options INTERFACE -Werror)
endif()
if(LARKFOLD_SANITIZE)
  # For everything, the code that Qt's generators write included: a mixed program reports races that are none.
  add_compile_options(-fsanitize=${LARKFOLD_SANITIZE} -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${LARKFOLD_SANITIZE})
  if(LARKFOLD_SANITIZE MATCHES "thread" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # The fences in the toolkit's headers, which it cannot see through; ours has none.
    add_compile_options(-Wno-tsan)
  endif()
endif()

# Headers that nearly every source of its kind reads, which is half the time of compiling most of them. That each source of
# the program has the includes it needs itself, scripts/lint holds, which reads none of these.
set(LARKFOLD_SHARED_HEADERS
  <algorithm> <array> <chrono> <condition_variable> <cstdint> <filesystem> <fstream> <functional> <map> <memory> <mutex>
  <optional> <set> <sstream> <stop_token> <string> <string_view> <thread> <unordered_map> <utility> <vector>)
# With an event loop, and with a window. Not the toolkit's headers that hold all others: they cost three times as much.
set(LARKFOLD_SHARED_CORE_HEADERS
  ${LARKFOLD_SHARED_HEADERS} <QAbstractListModel> <QCoreApplication> <QPointer> <QTimer> <QUrl> <QVariantMap>)
set(LARKFOLD_SHARED_WINDOW_HEADERS
  ${LARKFOLD_SHARED_CORE_HEADERS} <QGuiApplication> <QImage> <QPainter> <QQmlEngine> <QQuickItem> <QQuickPaintedItem>
  <QQuickWindow>)
set(LARKFOLD_TEST_HEADERS <gtest/gtest.h> <gmock/gmock.h>)
set(LARKFOLD_SHARED_TEST_HEADERS ${LARKFOLD_TEST_HEADERS} ${LARKFOLD_SHARED_HEADERS})
set(LARKFOLD_SHARED_CORE_TEST_HEADERS ${LARKFOLD_TEST_HEADERS} ${LARKFOLD_SHARED_CORE_HEADERS} <QSignalSpy> <QTest>)
set(LARKFOLD_SHARED_WINDOW_TEST_HEADERS ${LARKFOLD_TEST_HEADERS} ${LARKFOLD_SHARED_WINDOW_HEADERS} <QSignalSpy> <QTest>)

if(LARKFOLD_PRECOMPILE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # So that the compiler cache can tell what such a header was made of.
  add_compile_options(-fpch-preprocess)
elseif(LARKFOLD_PRECOMPILE)
  # Else each copy of the toolkit's headers would make another one, by its dates.
  add_compile_options("SHELL:-Xclang -fno-pch-timestamp")
endif()

# larkfold_precompile(TARGET HEADERS...): compiles these headers once for a target of the program, and for who borrows them.
function(larkfold_precompile target)
  if(LARKFOLD_PRECOMPILE)
    target_precompile_headers(${target} PRIVATE ${ARGN})
  endif()
endfunction()

# larkfold_borrow_headers(TARGET LENDER): reads the headers that were compiled for another target of the same options.
function(larkfold_borrow_headers target lender)
  if(TARGET ${lender} AND NOT target STREQUAL lender)
    get_target_property(headers ${lender} PRECOMPILE_HEADERS)
    if(headers)
      target_precompile_headers(${target} REUSE_FROM ${lender})
    endif()
  endif()
endfunction()

# larkfold_quiet_generated_code(TARGET): no warnings for the sources that generators write into the build folder; what the
# toolkit's compilers put out shadows its own parameters, and nobody here could mend it. Call it in the target's folder.
function(larkfold_quiet_generated_code target)
  get_target_property(sources ${target} SOURCES)
  foreach(source IN LISTS sources)
    if(source MATCHES "^${CMAKE_BINARY_DIR}/.*\\.cpp$" AND NOT source MATCHES "_qml\\.cpp$")
      set_source_files_properties("${source}" PROPERTIES COMPILE_OPTIONS "-w")
    endif()
  endforeach()
endfunction()

# larkfold_gather_views(TARGET): compiles a dozen views' byte code at once. Each is an array below the same headers, which
# take most of its time to compile. Call it in the target's folder.
function(larkfold_gather_views target)
  get_target_property(sources ${target} SOURCES)
  list(FILTER sources INCLUDE REGEX "_qml\\.cpp$")
  set(number 0)
  foreach(source IN LISTS sources)
    math(EXPR group "${number} / 12")
    math(EXPR number "${number} + 1")
    # A source with options of its own would stay alone.
    set_source_files_properties("${source}" PROPERTIES UNITY_GROUP "views-${group}")
  endforeach()
  set_target_properties(${target} PROPERTIES
    UNITY_BUILD ON UNITY_BUILD_MODE GROUP
    UNITY_BUILD_CODE_BEFORE_INCLUDE "#pragma GCC diagnostic ignored \"-Wshadow\"")
endfunction()

# larkfold_library(NAME SOURCES ... PUBLIC ... PRIVATE ...): one folder's one floor.
function(larkfold_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC "${PROJECT_SOURCE_DIR}/src")
  target_link_libraries(${name} PUBLIC ${ARG_PUBLIC} PRIVATE larkfold_options ${ARG_PRIVATE})
  if(LARKFOLD_FUZZ)
    # The search is led by which code its bytes reach, so all of it tells.
    target_compile_options(${name} PRIVATE -fsanitize=fuzzer-no-link)
  endif()
endfunction()

# larkfold_test(NAME SOURCES ... LIBRARIES ... [LABELS ...] [TIMEOUT seconds] [SHARDS number] [COST seconds]
# [HEADERS target] [PRECOMPILE headers...] [SERIAL]): one test program, and one ctest entry that runs it or several that
# share its tests out. It runs headless and with a private home and runtime folder, so that no test ever sees the
# developer's own. What costs most begins first; the cost is that of one entry. PRECOMPILE tells the headers to compile once
# for this program, HEADERS names another one of its folder that does; the compiler wants the same definitions. Without
# either, those of all tests are read. The negative controls are not for sanitizers: the naive ways that they find out are no
# code of the program.
function(larkfold_test name)
  cmake_parse_arguments(ARG "SERIAL" "TIMEOUT;SHARDS;COST;HEADERS" "SOURCES;LIBRARIES;LABELS;PRECOMPILE" ${ARGN})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 300)
  endif()
  if(NOT ARG_COST)
    set(ARG_COST 1)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/src" "${PROJECT_SOURCE_DIR}/tests")
  target_link_libraries(${name} PRIVATE larkfold_options ${ARG_LIBRARIES})
  if(ARG_PRECOMPILE)
    larkfold_precompile(${name} ${ARG_PRECOMPILE})
  elseif(ARG_HEADERS)
    larkfold_borrow_headers(${name} ${ARG_HEADERS})
  else()
    larkfold_borrow_headers(${name} larkfold_test_headers)
  endif()
  set(entries ${name})
  if(ARG_SHARDS)
    set(entries)
    foreach(number RANGE 1 ${ARG_SHARDS})
      list(APPEND entries ${name}_${number})
    endforeach()
  endif()
  set(index 0)
  foreach(entry IN LISTS entries)
    add_test(NAME ${entry} COMMAND "${PROJECT_SOURCE_DIR}/tests/support/private-session" $<TARGET_FILE:${name}>)
    set_tests_properties(${entry} PROPERTIES TIMEOUT ${ARG_TIMEOUT} COST ${ARG_COST} LABELS "${ARG_LABELS}")
    set(environment)
    if(LARKFOLD_SANITIZE)
      list(APPEND environment "GTEST_FILTER=-*Control.*:*.control_*")
    endif()
    if(ARG_SHARDS)
      list(APPEND environment GTEST_TOTAL_SHARDS=${ARG_SHARDS} GTEST_SHARD_INDEX=${index})
      math(EXPR index "${index} + 1")
    endif()
    set_tests_properties(${entry} PROPERTIES ENVIRONMENT "${environment}")
    if(ARG_SERIAL)
      set_tests_properties(${entry} PROPERTIES RUN_SERIAL TRUE)
    endif()
  endforeach()
  set_target_properties(${name} PROPERTIES LARKFOLD_TEST_ENTRIES "${entries}")
endfunction()

# larkfold_not_under_thread_sanitizer(PROGRAM...): neither built nor run there. Call it in the tests' folder.
function(larkfold_not_under_thread_sanitizer)
  if(LARKFOLD_SANITIZE MATCHES "thread")
    foreach(program IN LISTS ARGV)
      set_target_properties(${program} PROPERTIES EXCLUDE_FROM_ALL TRUE)
      get_target_property(entries ${program} LARKFOLD_TEST_ENTRIES)
      if(NOT entries)
        set(entries ${program})
      endif()
      set_tests_properties(${entries} PROPERTIES DISABLED TRUE)
    endforeach()
  endif()
endfunction()

# larkfold_benchmark(NAME SOURCES ... LIBRARIES ...): one Google Benchmark program.
function(larkfold_benchmark name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/src" "${PROJECT_SOURCE_DIR}/tests")
  target_link_libraries(${name} PRIVATE larkfold_options ${ARG_LIBRARIES})
endfunction()

# larkfold_collect_targets(FOLDER RESULT): every library and program of a folder and below it, whoever adds one.
function(larkfold_collect_targets folder result)
  get_property(targets DIRECTORY "${folder}" PROPERTY BUILDSYSTEM_TARGETS)
  get_property(subfolders DIRECTORY "${folder}" PROPERTY SUBDIRECTORIES)
  foreach(subfolder IN LISTS subfolders)
    larkfold_collect_targets("${subfolder}" below)
    list(APPEND targets ${below})
  endforeach()
  set(${result} ${targets} PARENT_SCOPE)
endfunction()
