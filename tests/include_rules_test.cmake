# Fails on an #include against the arrows between the folders: cmake -DROOT=<project> -P include_rules_test.cmake
#
# A rule is a pair: which files it is for, and what these may include (both regular expressions on paths from the
# project's root). The first rule that fits a file holds. System headers are ruled below.
cmake_minimum_required(VERSION 3.22)

set(public "include/(rastrel|ondrel)/.*")
set(platform "include/rastrel/(platform|rastrel_api)\\.h|src/platform/.*")

set(rules
  "include/ondrel/.*"  "include/ondrel/.*"
  "include/rastrel/.*"  "${public}"
  "src/platform/.*"  "${platform}|include/ondrel/ondrel_api\\.h"
  "src/ondrel/.*"  "include/ondrel/.*|include/rastrel/platform\\.h|src/ondrel/.*"
  "src/pixel/.*"  "${public}|src/(pixel|image|platform)/.*"
  "src/image/.*"  "${public}|src/(image|pixel|platform)/.*"
  "src/ops/.*"  "${public}|src/(ops|image|pixel|platform)/.*"
  "src/formats/.*"  "${public}|src/(formats|image|pixel|platform)/.*"
  "src/threads/.*"  "${public}|src/threads/.*"
  "examples/.*"  "${public}|examples/.*")

# Pure functions on rows: whatever they include, near or far, they do not know the image.
set(kernels "src/pixel/(color_model|pixel_layout|pixel_traits|convert_.*|orientation|bilinear)\\.(h|cpp)|src/pixel/transform\\.h"
  "src/ops/(.*kernel.*|resample_plan.*|filter_.*|.*_weights.*|row_mover.*|brightness_histogram.*)\\.(h|cpp)"
  "src/formats/(bayer_kernel.*|psb_planes.*|orf_samples.*|orf_curve.*)\\.(h|cpp)")
list(JOIN kernels "|" kernels)

# Headers in angle brackets that only some folders may use.
set(system_rules
  "windows\\.h|share\\.h|io\\.h|process\\.h|unistd\\.h|fcntl\\.h|pthread\\.h|sys/.*|cpuid\\.h|dlfcn\\.h|semaphore\\.h"
    "src/(platform|ondrel)/.*|include/rastrel/platform\\.h|src/threads/.*_(posix|windows)\\.cpp|examples/.*"
  "jpeglib\\.h|jerror\\.h|turbojpeg\\.h|Imf.*|Imath.*|Iex.*|IlmThread.*|OpenEXR/.*|half\\.h"  "src/formats/.*"
  "gtest/.*|gmock/.*|benchmark/.*"  "^$")

set(errors "")

function(check_system file header)
  set(rest ${system_rules})
  while(rest)
    list(POP_FRONT rest headers users)
    if(header MATCHES "^(${headers})$" AND NOT file MATCHES "^(${users})$")
      set(errors "${errors}${file}: <${header}> is for ${users} only\n" PARENT_SCOPE)
    endif()
  endwhile()
endfunction()

# The project's file that an #include "name" of `file` means.
function(resolve file name result)
  get_filename_component(folder ${file} DIRECTORY)
  foreach(candidate include/${name} src/${name} ${folder}/${name} ${name})
    if(EXISTS ${ROOT}/${candidate})
      set(${result} ${candidate} PARENT_SCOPE)
      return()
    endif()
  endforeach()
  set(${result} "" PARENT_SCOPE)
endfunction()

function(check_own file name)
  resolve(${file} ${name} target)
  if(NOT target)
    set(errors "${errors}${file}: \"${name}\" is no header of the project\n" PARENT_SCOPE)
    return()
  endif()
  set_property(GLOBAL APPEND PROPERTY "includes of ${file}" ${target})
  set(rest ${rules})
  while(rest)
    list(POP_FRONT rest files allowed)
    if(file MATCHES "^(${files})$")
      if(NOT target MATCHES "^(${allowed})$")
        set(errors "${errors}${file}: may not include ${target}\n" PARENT_SCOPE)
      endif()
      return()
    endif()
  endwhile()
  set(errors "${errors}${file}: no rule for this folder\n" PARENT_SCOPE)
endfunction()

# The chain of includes by which `file` reaches the image class, empty when it does not.
function(find_image file seen result)
  get_property(targets GLOBAL PROPERTY "includes of ${file}")
  foreach(target IN LISTS targets)
    if(target MATCHES "^(include/rastrel/rastrel\\.h|src/image/.*)$")
      set(${result} "${file} -> ${target}" PARENT_SCOPE)
      return()
    endif()
    if(NOT target IN_LIST seen)
      find_image(${target} "${seen};${target}" chain)
      if(chain)
        set(${result} "${file} -> ${chain}" PARENT_SCOPE)
        return()
      endif()
    endif()
  endforeach()
  set(${result} "" PARENT_SCOPE)
endfunction()

file(GLOB_RECURSE files RELATIVE ${ROOT} ${ROOT}/include/*.h ${ROOT}/src/*.h ${ROOT}/src/*.cpp ${ROOT}/examples/*.h
  ${ROOT}/examples/*.cpp)
if(NOT files)
  message(FATAL_ERROR "no sources below '${ROOT}'")
endif()
foreach(file IN LISTS files)
  file(STRINGS ${ROOT}/${file} lines REGEX "^[ \t]*#[ \t]*include[ \t]")
  foreach(line IN LISTS lines)
    if(line MATCHES "<([^>]+)>")
      check_system(${file} ${CMAKE_MATCH_1})
    elseif(line MATCHES "\"([^\"]+)\"")
      check_own(${file} ${CMAKE_MATCH_1})
    endif()
  endforeach()
endforeach()
foreach(file IN LISTS files)
  if(file MATCHES "^(${kernels})$")
    find_image(${file} ${file} chain)
    if(chain)
      set(errors "${errors}${chain}: a kernel that knows the image\n")
    endif()
  endif()
endforeach()
if(errors)
  message(FATAL_ERROR "${errors}")
endif()
