# Installs the SDK into a fresh prefix and links a C program against it the two
# ways a user would: with the flags pkg-config gives, and with find_package in
# a CMake project of its own. Both programs must build and run.
#   BUILD_DIR  the build tree to install from    WORK_DIR  scratch folder
#   PROGRAM    the C source                       CONSUMER  the CMake project
#   C_COMPILER the compiler                       SANITIZE  the build's sanitizers, if any
set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGN}\nfailed (${result}):\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
file(GLOB_RECURSE pc_file ${prefix}/*/QuorvaneTactiviewKR9.pc)
get_filename_component(pc_dir "${pc_file}" DIRECTORY)

# A sanitized library needs its runtime in the program as well.
set(sanitize_flags "")
if(SANITIZE)
  set(sanitize_flags -fsanitize=${SANITIZE})
endif()

# pkg-config: the file must point into the prefix it was installed to.
set(ENV{PKG_CONFIG_PATH} ${pc_dir})
run(pkg-config --cflags --libs QuorvaneTactiviewKR9)
separate_arguments(pc_flags UNIX_COMMAND "${output}")
run(pkg-config --variable=libdir QuorvaneTactiviewKR9)
string(STRIP "${output}" libdir)
run(${C_COMPILER} -std=c99 ${sanitize_flags} ${PROGRAM} ${pc_flags} -Wl,-rpath,${libdir} -o ${WORK_DIR}/with_pkg_config)
run(${WORK_DIR}/with_pkg_config)

# find_package from a project that knows nothing but the prefix.
run(${CMAKE_COMMAND} -S ${CONSUMER} -B ${WORK_DIR}/consumer -DCMAKE_PREFIX_PATH=${prefix}
    -DCMAKE_C_COMPILER=${C_COMPILER} "-DCMAKE_C_FLAGS=${sanitize_flags}" -DKR9_PROGRAM=${PROGRAM})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/consumer)
run(${WORK_DIR}/consumer/with_find_package)
