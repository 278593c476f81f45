# Flags and helper functions shared by every target of the project.
include_guard(GLOBAL)
include(GNUInstallDirs)

if(WIN32)
  set(UTILS_PLATFORM windows)
else()
  set(UTILS_PLATFORM posix)
endif()

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
# What is installed finds its libraries wherever the tree is moved to.
set(CMAKE_INSTALL_RPATH $ORIGIN)
file(RELATIVE_PATH UTILS_LIBRARIES_FROM_PROGRAMS ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
# One folder for programs and libraries, so that DLLs and the programs that load them find each other.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)

set(UTILS_GENERATED_DIR ${PROJECT_BINARY_DIR}/generated)
configure_file(${CMAKE_CURRENT_LIST_DIR}/BuildValues.h.in ${UTILS_GENERATED_DIR}/BuildValues.h @ONLY)

# Header-only libraries of the host serve a cross build too, but only folder by folder:
# the whole of /usr/include would bring the host's C library with it.
set(UTILS_FOREIGN_HEADERS ${PROJECT_BINARY_DIR}/foreign-headers)
function(utils_foreign_headers)
  file(MAKE_DIRECTORY ${UTILS_FOREIGN_HEADERS})
  foreach(folder IN LISTS ARGN)
    if(NOT EXISTS /usr/include/${folder})
      message(FATAL_ERROR "/usr/include/${folder} is missing; ./test.sh installs the package that holds it")
    endif()
    if(NOT EXISTS ${UTILS_FOREIGN_HEADERS}/${folder})
      file(CREATE_LINK /usr/include/${folder} ${UTILS_FOREIGN_HEADERS}/${folder} SYMBOLIC)
    endif()
  endforeach()
endfunction()
utils_foreign_headers(boost)

add_library(utils_flags INTERFACE)
target_include_directories(utils_flags INTERFACE ${PROJECT_SOURCE_DIR} ${UTILS_GENERATED_DIR})
target_include_directories(utils_flags SYSTEM INTERFACE ${UTILS_FOREIGN_HEADERS})
target_compile_options(utils_flags INTERFACE -Wall -Wextra -Wpedantic -Werror)
target_compile_definitions(utils_flags INTERFACE
  BOOST_ENABLE_ASSERT_HANDLER WIN32_LEAN_AND_MEAN NOMINMAX NOGDI)
if(UTILS_SANITIZE)
  add_compile_options(-O1 -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
if(UTILS_COVERAGE)
  # Several processes and threads count at the same time.
  add_compile_options(-O1 --coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()
if(NOT WIN32)
  add_link_options(LINKER:--no-undefined)
endif()
if(WIN32)
  # Everything shares one C++ runtime, or streams and exceptions stop at each module's edge.
  foreach(dll libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll}
                    OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(NOT IS_ABSOLUTE "${path}")
      set(path ${CMAKE_FIND_ROOT_PATH}/lib/${dll})
    endif()
    file(COPY ${path} DESTINATION ${CMAKE_RUNTIME_OUTPUT_DIRECTORY} FOLLOW_SYMLINK_CHAIN)
    install(FILES ${path} DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
  endforeach()
endif()

# utils_subsystem(NAME SOURCES ... [HEADERS ...] [USES ...])
# One folder of the library as an OBJECT library utils_NAME. USES names only what adds include
# folders, definitions or system libraries: OBJECT libraries never name one another.
function(utils_subsystem name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "HEADERS;SOURCES;USES")
  add_library(utils_${name} OBJECT ${arg_SOURCES})
  target_compile_definitions(utils_${name} PRIVATE UTILS_EXPORTS)
  target_link_libraries(utils_${name} PUBLIC utils_flags ${arg_USES})
  if(arg_HEADERS)
    cmake_path(GET CMAKE_CURRENT_SOURCE_DIR FILENAME folder)
    install(FILES ${arg_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/utils/${folder} COMPONENT dev)
  endif()
endfunction()

# utils_backend(NAME SOURCES ... [USES ...])
# One of our platform libraries: shared, NAME_EXPORTS defined for its own sources only.
function(utils_backend name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "OUTPUT_NAME" "SOURCES;USES")
  string(TOUPPER ${name} upper)
  add_library(${name} SHARED ${arg_SOURCES})
  target_compile_definitions(${name} PRIVATE ${upper}_EXPORTS)
  target_link_libraries(${name} PRIVATE utils_flags utils_platform ${arg_USES})
  utils_shared_properties(${name})
  if(arg_OUTPUT_NAME)
    set_target_properties(${name} PROPERTIES OUTPUT_NAME ${arg_OUTPUT_NAME})
  endif()
endfunction()

# utils_exports(TARGET): nothing is exported but what carries an export macro. The sanitizer compares types by
# address, so in its build they stay shared.
function(utils_exports target)
  if(NOT WIN32 AND NOT UTILS_SANITIZE)
    set(map ${PROJECT_SOURCE_DIR}/cmake/exports.map)
    target_link_options(${target} PRIVATE LINKER:--version-script=${map})
    set_target_properties(${target} PROPERTIES LINK_DEPENDS ${map})
  endif()
endfunction()

# What our shared libraries have in common, as targets of the build and of the installed package.
function(utils_shared_properties target)
  string(TOUPPER ${target} upper)
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/utils>)
  # The headers use Boost's.
  target_include_directories(${target} SYSTEM INTERFACE $<BUILD_INTERFACE:${UTILS_FOREIGN_HEADERS}>)
  target_link_libraries(${target} INTERFACE $<INSTALL_INTERFACE:Boost::headers>)
  target_compile_features(${target} PUBLIC cxx_std_17)
  target_compile_definitions(${target} INTERFACE
    BOOST_ENABLE_ASSERT_HANDLER $<INSTALL_INTERFACE:${upper}_IMPORTS>)
  utils_exports(${target})
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
  if(WIN32)
    set_target_properties(${target} PROPERTIES PREFIX "")
  endif()
  install(TARGETS ${target} EXPORT utilsTargets
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)
endfunction()

# The build for this system whose simulators and test programs a cross build uses.
set(UTILS_NATIVE_BUILD ${PROJECT_SOURCE_DIR}/build/linux CACHE PATH
    "Cross builds: the build folder with the programs of this system")
if(NOT WIN32)
  set(UTILS_NATIVE_BUILD ${CMAKE_BINARY_DIR})
  # All of this build that a cross build's tests need.
  add_custom_target(for_windows)
endif()

# utils_test(NAME SOURCES ... [LIBRARY ...] [USES ...] [PROGRAMS ...] [SIMULATORS ...]
#            [CURL] [DRIVER] [SANDBOX] [TIMEOUT seconds])
# A GoogleTest program NAME_test, run by ctest as NAME. LIBRARY names the subsystems whose objects
# it links, USES everything else (stand-ins for the platform, backends), PROGRAMS the helper programs
# that must exist when it runs, SIMULATORS those that always are this system's. SANDBOX runs it inside
# the sandbox of the whole roads. DRIVER says that it only starts the programs under test: for Windows
# the native one is run, which starts theirs under Wine. CURL, and the three before it, find a libcurl
# also on Windows.
# Every run leaves its results as XML in results/ of the build folder, where test.sh counts them.
function(utils_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "CURL;DRIVER;SANDBOX" "TIMEOUT" "SOURCES;LIBRARY;USES;PROGRAMS;SIMULATORS")
  set(drive)
  if(WIN32 AND NOT arg_DRIVER)
    set(drive "Z:") # where Wine has this system's files
  endif()
  set(environment "GTEST_OUTPUT=xml:${drive}${CMAKE_BINARY_DIR}/results/${name}.xml"
                  "UTILS_MODULE=${UTILS_NATIVE_BUILD}/bin/ffdc_module.so"
                  "UTILS_SIMULATORS=${UTILS_NATIVE_BUILD}/bin")
  if(WIN32)
    if(arg_CURL OR arg_DRIVER OR arg_SANDBOX OR arg_SIMULATORS)
      list(APPEND environment "WINEPATH=${UTILS_BRIDGE_DIR}")
      list(APPEND arg_PROGRAMS curl_bridge)
    endif()
  else()
    list(APPEND arg_PROGRAMS ${arg_SIMULATORS})
    if(arg_SIMULATORS)
      add_dependencies(for_windows ${arg_SIMULATORS})
    endif()
  endif()

  if(arg_DRIVER AND WIN32)
    add_custom_target(${name}_test ALL DEPENDS ${arg_PROGRAMS})
    set(command ${UTILS_NATIVE_BUILD}/bin/${name}_test)
    list(APPEND environment "UTILS_EMULATOR=/usr/lib/wine/wine64")
  else()
    add_executable(${name}_test ${arg_SOURCES})
    list(TRANSFORM arg_LIBRARY PREPEND utils_)
    target_link_libraries(${name}_test PRIVATE utils_flags ${arg_LIBRARY} ${arg_USES} GTest::gmock_main)
    if(arg_PROGRAMS)
      add_dependencies(${name}_test ${arg_PROGRAMS})
    endif()
    set(command $<TARGET_FILE:${name}_test>)
    if(arg_DRIVER)
      add_dependencies(for_windows ${name}_test)
    elseif(WIN32 AND arg_SANDBOX)
      list(PREPEND command ${CMAKE_CROSSCOMPILING_EMULATOR})
    elseif(NOT arg_SANDBOX)
      # Named as a target, the program gets the emulator in a cross build.
      set(command ${name}_test)
    endif()
  endif()
  if(WIN32 AND arg_SANDBOX)
    list(PREPEND command ${PROJECT_SOURCE_DIR}/cmake/wine-session.sh --own-server)
  elseif(WIN32 AND arg_DRIVER)
    list(PREPEND command ${PROJECT_SOURCE_DIR}/cmake/wine-session.sh)
  endif()
  if(arg_SANDBOX)
    list(PREPEND command ${PROJECT_SOURCE_DIR}/simulators/sandbox.sh ${CMAKE_BINARY_DIR}/sandbox/${name})
  endif()

  add_test(NAME ${name} COMMAND ${command} WORKING_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  set_tests_properties(${name} PROPERTIES
    TIMEOUT ${arg_TIMEOUT} SKIP_RETURN_CODE 77 ENVIRONMENT "${environment}")
  if(arg_SANDBOX)
    # The longest first, where several run side by side.
    set_tests_properties(${name} PROPERTIES LABELS road COST 100)
  else()
    set_tests_properties(${name} PROPERTIES LABELS unit)
  endif()
  if(arg_SANDBOX AND WIN32)
    # One prefix for all of them, so one at a time.
    set_tests_properties(${name} PROPERTIES RESOURCE_LOCK wine_sandbox)
  endif()
endfunction()

# utils_guest_test(NAME SOURCES ... [USES ...] [TIMEOUT seconds])
# A GoogleTest program NAME_test, linked with the shared libraries as they are built and run by ctest
# as NAME inside the virtual server, where the collector and the libraries of run time lie beside it.
# Where there is no virtual server it is skipped, with UTILS_CI=1 in the environment it fails.
function(utils_guest_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT" "SOURCES;USES")
  add_executable(${name}_test ${arg_SOURCES})
  target_link_libraries(${name}_test PRIVATE utils_flags guest_support ${arg_USES} GTest::gmock_main)
  add_dependencies(${name}_test ffdc-collect qmmusblan ffdc_module)
  add_test(NAME ${name}
    COMMAND ${PROJECT_SOURCE_DIR}/simulators/virtual_server/guest.sh
            -m 1024 -o ${CMAKE_BINARY_DIR}/results -e GTEST_OUTPUT=xml:/out/${name}.xml
            -p $<TARGET_FILE:${name}_test> -p $<TARGET_FILE:ffdc-collect> -p $<TARGET_FILE:qmmusblan>
            -p ${UTILS_LIBCURL} ${CMAKE_BINARY_DIR}/sandbox/${name} ${name}_test)
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 300)
  endif()
  set_tests_properties(${name} PROPERTIES
    TIMEOUT ${arg_TIMEOUT} SKIP_RETURN_CODE 77 LABELS guest COST 50
    ENVIRONMENT "UTILS_MODULE=${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/ffdc_module.so;SP_POLLS=0")
endfunction()
