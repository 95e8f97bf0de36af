# Shared compile settings and the two helpers every subsystem uses:
# quorvane_library(<sub> SOURCES ... DEPS ...) and quorvane_tests(<sub> SOURCES ... DEPS ...).

add_library(quorvane_options INTERFACE)
target_compile_options(quorvane_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Wcast-qual -Wundef)
if(QUORVANE_WERROR)
  target_compile_options(quorvane_options INTERFACE -Werror)
endif()
if(QUORVANE_FUZZ)
  # Coverage feedback for libFuzzer in every library, not only in the fuzzer's own file.
  target_compile_options(quorvane_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(QUORVANE_SANITIZE)
  target_compile_options(quorvane_options INTERFACE
    -fsanitize=${QUORVANE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(quorvane_options INTERFACE -fsanitize=${QUORVANE_SANITIZE})
endif()

# One static library per subsystem, named quorvane_<sub>, included from the src/ root.
function(quorvane_library sub)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS;PRIVATE_DEPS" ${ARGN})
  add_library(quorvane_${sub} STATIC ${ARG_SOURCES})
  target_include_directories(quorvane_${sub} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(quorvane_${sub} PUBLIC ${ARG_DEPS} PRIVATE quorvane_options ${ARG_PRIVATE_DEPS})
endfunction()

# One GoogleTest binary per subsystem, every case registered with CTest.
function(quorvane_tests sub)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS" ${ARGN})
  if(NOT QUORVANE_BUILD_TESTS)
    return()
  endif()
  add_executable(quorvane_${sub}_tests ${ARG_SOURCES})
  target_link_libraries(quorvane_${sub}_tests PRIVATE quorvane_${sub} quorvane_testing ${ARG_DEPS}
                        quorvane_options GTest::gtest GTest::gmock GTest::gtest_main)
  gtest_discover_tests(quorvane_${sub}_tests DISCOVERY_TIMEOUT 60 NO_PRETTY_VALUES
                       PROPERTIES ENVIRONMENT "QUORVANE_TESTDATA=${PROJECT_SOURCE_DIR}/testdata")
endfunction()

# Copies built-in template packages (one sub-folder of the calling folder each) into `folder`
# beside quorvane-cli and the desktop program, where they look for their installed packages,
# whenever one of their files changes; the programs depend on the copy.
#   quorvane_install_packages(<target> <folder> <what, for the build log> <package>...)
function(quorvane_install_packages target folder what)
  set(copy_commands)
  set(all_files)
  foreach(name IN LISTS ARGN)
    file(GLOB files CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${name}/*)
    list(APPEND all_files ${files})
    list(APPEND copy_commands COMMAND ${CMAKE_COMMAND} -E copy_directory
         ${CMAKE_CURRENT_SOURCE_DIR}/${name} $<TARGET_FILE_DIR:quorvane-cli>/${folder}/${name})
    if(TARGET quorvane)
      list(APPEND copy_commands COMMAND ${CMAKE_COMMAND} -E copy_directory
           ${CMAKE_CURRENT_SOURCE_DIR}/${name} $<TARGET_FILE_DIR:quorvane>/${folder}/${name})
    endif()
  endforeach()
  set(stamp ${CMAKE_CURRENT_BINARY_DIR}/${target}.stamp)
  add_custom_command(OUTPUT ${stamp} ${copy_commands}
                     COMMAND ${CMAKE_COMMAND} -E touch ${stamp}
                     DEPENDS ${all_files}
                     COMMENT "Installing ${what} beside quorvane-cli")
  add_custom_target(${target} ALL DEPENDS ${stamp})
  add_dependencies(quorvane-cli ${target})
  if(TARGET quorvane)
    add_dependencies(quorvane ${target})
  endif()
endfunction()
