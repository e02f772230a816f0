# Installs the build into an empty prefix, builds examples/ against nothing but that prefix, by
# CMake package and by pkg-config, and runs what came out: each example must print EXAMPLE.expected.
# Variables: SOURCE_DIR, BINARY_DIR, CXX.
set(scratch ${BINARY_DIR}/install_test)
set(prefix ${scratch}/prefix)
file(REMOVE_RECURSE ${scratch})

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT code EQUAL 0)
    string(JOIN " " command ${ARGN})
    message(FATAL_ERROR "${command}\nended with ${code}:\n${out}")
  endif()
  set(out "${out}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${BINARY_DIR} --prefix ${prefix})
run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/examples -B ${scratch}/examples -G Ninja
  -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${CXX})
run(${CMAKE_COMMAND} --build ${scratch}/examples)

# A host finds the texts beside itself or, as here, along the PATH.
file(GLOB_RECURSE texts ${prefix}/*/textres.bin)
get_filename_component(texts_dir ${texts} DIRECTORY)
set(ENV{PATH} "$ENV{PATH}:${texts_dir}")

file(GLOB examples ${SOURCE_DIR}/examples/*.cpp)
if(NOT examples)
  message(FATAL_ERROR "there is no example to build")
endif()
foreach(source IN LISTS examples)
  get_filename_component(name ${source} NAME_WE)
  file(READ ${SOURCE_DIR}/examples/${name}.expected expected)
  run(${scratch}/examples/${name} ${scratch}/examples)
  if(NOT out STREQUAL expected)
    message(FATAL_ERROR "${name} printed\n${out}\ninstead of\n${expected}")
  endif()
endforeach()

# The same through pkg-config, from a prefix that has been moved since it was installed.
find_program(PKG_CONFIG pkg-config)
if(PKG_CONFIG)
  file(RENAME ${prefix} ${scratch}/moved)
  set(prefix ${scratch}/moved)
  file(GLOB_RECURSE pc ${prefix}/*/tmxtools.pc)
  get_filename_component(pc_dir ${pc} DIRECTORY)
  set(ENV{PKG_CONFIG_PATH} ${pc_dir})
  run(${PKG_CONFIG} --cflags --libs tmxtools)
  string(STRIP "${out}" flags)
  separate_arguments(flags UNIX_COMMAND "${flags}")
  list(GET examples 0 source)
  run(${CXX} ${source} ${flags} -o ${scratch}/by_pkg_config)
endif()

# The installed tool starts through its link and finds the library.
if(EXISTS ${BINARY_DIR}/bin/tmx)
  run(${prefix}/bin/tmx --help)
endif()
