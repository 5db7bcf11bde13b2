# Installs the build into a fresh prefix, builds tests/install/host.cpp against it with find_package(Corvana)
# (shared and static) and with pkg-config, runs the programs and checks what they print.
# Arguments (-D): BUILD_DIR, SOURCE_DIR (tests/install), WORK_DIR, CXX, GENERATOR.

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGV}\n${out}\n${err}")
  endif()
  set(run_output "${out}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")
run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")

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

# Each program starts the SDK and prints the install identifier; the same data folder keeps the same one.
function(host program data expected_id_var)
  file(MAKE_DIRECTORY "${data}")
  run(${CMAKE_COMMAND} -E env "LD_LIBRARY_PATH=${libdir}" "${program}" "${data}")
  if(NOT run_output MATCHES "^device id: ([0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}) version 0\\.8\\.4\n$")
    message(FATAL_ERROR "${program} printed \"${run_output}\"")
  endif()
  set(${expected_id_var} "${CMAKE_MATCH_1}" PARENT_SCOPE)
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
message(STATUS "installed package works: ${shared_id}, ${pkgconfig_id}")
file(REMOVE_RECURSE "${WORK_DIR}")
