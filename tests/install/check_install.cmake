cmake_minimum_required(VERSION 3.25)
# Installs the build into a fresh prefix and moves it elsewhere, as packagers and app bundles do, then builds
# tests/install/host.cpp against it with find_package(Corvana) (shared and static) and with pkg-config, runs the
# programs and checks what they print; campaign_host shows a campaign, which needs the bundle of the moved prefix.
# The README's host-app example is built the same way, so a newcomer's first program is known to compile against
# the package. Arguments (-D): BUILD_DIR, SOURCE_DIR (tests/install), README, WORK_DIR, CXX, GENERATOR, SERVICE
# (the corvana-service program).

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGV}\n${out}\n${err}")
  endif()
  set(run_output "${out}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/moved/prefix")
run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${WORK_DIR}/staging")
file(MAKE_DIRECTORY "${WORK_DIR}/moved")
file(RENAME "${WORK_DIR}/staging" "${prefix}")

# What the package holds, and what it must not hold.
file(GLOB_RECURSE libs RELATIVE "${prefix}" "${prefix}/lib*/libcorvana*")
file(GLOB_RECURSE pcs "${prefix}/*/corvana.pc")
file(GLOB_RECURSE configs "${prefix}/*/CorvanaConfig.cmake")
list(LENGTH pcs pc_count)
if(NOT pc_count EQUAL 1 OR NOT configs)
  message(FATAL_ERROR "corvana.pc or CorvanaConfig.cmake missing: ${pcs} ${configs}")
endif()
get_filename_component(pkgconfig_dir "${pcs}" DIRECTORY)
get_filename_component(libdir "${pkgconfig_dir}" DIRECTORY)
foreach(expected libcorvana.so libcorvana.so.0 libcorvana.so.0.8.4 libcorvana.a)
  if(NOT EXISTS "${libdir}/${expected}")
    message(FATAL_ERROR "${libdir}/${expected} not installed (found ${libs})")
  endif()
endforeach()
foreach(expected include/corvana/Corvana.hpp include/corvana/corvana.h include/corvana/platform.h
        share/corvana/CRVResources.bundle/gradient-slice.png)
  if(NOT EXISTS "${prefix}/${expected}")
    message(FATAL_ERROR "${expected} not installed")
  endif()
endforeach()
file(GLOB_RECURSE unexpected "${prefix}/*corvana_objects*" "${prefix}/*corvana_service*" "${prefix}/bin/*")
if(unexpected)
  message(FATAL_ERROR "installed by mistake: ${unexpected}")
endif()

# find_package(Corvana).
run(${CMAKE_COMMAND} -S "${SOURCE_DIR}" -B "${WORK_DIR}/find" -G "${GENERATOR}" "-DCMAKE_PREFIX_PATH=${prefix}"
  -DCMAKE_BUILD_TYPE=Release "-DCMAKE_CXX_COMPILER=${CXX}")
run(${CMAKE_COMMAND} --build "${WORK_DIR}/find" -j2)

# pkg-config, the way a Makefile would use it.
run(${CMAKE_COMMAND} -E env "PKG_CONFIG_PATH=${pkgconfig_dir}" pkg-config --cflags --libs corvana)
string(STRIP "${run_output}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
if(NOT "-lcorvana" IN_LIST flags)
  message(FATAL_ERROR "pkg-config --libs corvana gave ${flags}")
endif()
run("${CXX}" -std=c++20 "${SOURCE_DIR}/host.cpp" -o "${WORK_DIR}/host_pkgconfig" ${flags})
file(READ "${README}" readme)
string(REGEX MATCH "```cpp\n([^`]*)```" readme_block "${readme}")
if(NOT CMAKE_MATCH_1)
  message(FATAL_ERROR "${README} has no ```cpp example")
endif()
file(WRITE "${WORK_DIR}/readme_example.cpp" "${CMAKE_MATCH_1}")
run("${CXX}" -std=c++20 "${WORK_DIR}/readme_example.cpp" -o "${WORK_DIR}/readme_example" ${flags})

# Each program starts the SDK and prints the install identifier; the same data folder keeps the same one.
function(host program data expected_id_var)
  file(MAKE_DIRECTORY "${data}")
  run(${CMAKE_COMMAND} -E env "LD_LIBRARY_PATH=${libdir}" "${program}" "${data}")
  # An upper-case UUID (CMake's expressions have no counted repeats: the length is checked on its own).
  set(hex "[0-9A-F]+")
  if(NOT run_output MATCHES "^device id: (${hex}-${hex}-${hex}-${hex}-${hex}) version 0\\.8\\.4\n$")
    message(FATAL_ERROR "${program} printed \"${run_output}\"")
  endif()
  set(id "${CMAKE_MATCH_1}")
  string(LENGTH "${id}" length)
  if(NOT length EQUAL 36)
    message(FATAL_ERROR "${program} printed the identifier \"${id}\"")
  endif()
  set(${expected_id_var} "${id}" PARENT_SCOPE)
endfunction()

host("${WORK_DIR}/find/host_shared" "${WORK_DIR}/data-a" shared_id)
host("${WORK_DIR}/find/host_static" "${WORK_DIR}/data-a" static_id)
host("${WORK_DIR}/host_pkgconfig" "${WORK_DIR}/data-b" pkgconfig_id)
if(NOT shared_id STREQUAL static_id)
  message(FATAL_ERROR "one data folder, two install identifiers: ${shared_id} and ${static_id}")
endif()
if(shared_id STREQUAL pkgconfig_id)
  message(FATAL_ERROR "two data folders share the install identifier ${shared_id}")
endif()
# A campaign drawn by an SDK that found its bundle in the moved prefix.
file(MAKE_DIRECTORY "${WORK_DIR}/data-c" "${WORK_DIR}/service")
run(${CMAKE_COMMAND} -E env "LD_LIBRARY_PATH=${libdir}" "${WORK_DIR}/find/campaign_host" "${WORK_DIR}/data-c"
  "${SERVICE}" "${WORK_DIR}/service" "${WORK_DIR}/campaign.png")
if(NOT run_output STREQUAL "campaign shown, bundle ${prefix}/share/corvana\n")
  message(FATAL_ERROR "campaign_host printed \"${run_output}\"")
endif()
file(SIZE "${WORK_DIR}/campaign.png" png_size)
if(png_size LESS 1000)
  message(FATAL_ERROR "the campaign's picture holds only ${png_size} bytes")
endif()

message(STATUS "installed package works: ${shared_id}, ${pkgconfig_id}")
file(REMOVE_RECURSE "${WORK_DIR}")
