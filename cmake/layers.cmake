# Each folder below tmxtools/ is one layer: a static library that links the layer before it.
# Tests, benchmarks and fuzz targets link layers, so that they reach what the shared library hides;
# the shared library is made of the same objects.

set(TMX_LAYERS "")
find_package(Threads REQUIRED)
find_package(OpenSSL REQUIRED COMPONENTS Crypto)

# Kernels for one instruction set stand in files of their own, which are entered only where the
# processor has it; so nothing that is shared with other files may be compiled in them.
function(tmx_instruction_set ending options)
  list(FILTER ARGN INCLUDE REGEX "${ending}$")
  set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS "${options}")
endfunction()

function(tmx_layer name)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tmxtools/${name}/*.cpp)
  if(NOT sources)
    return()
  endif()
  add_library(tmx_${name} STATIC ${sources})
  if(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
    tmx_instruction_set("_avx2.cpp" -mavx2 ${sources})
    tmx_instruction_set("_avx512.cpp" "-mavx512f;-mavx512bw;-mavx512dq;-mavx512vl" ${sources})
    tmx_instruction_set("_avx512_vbmi.cpp"
      "-mavx512f;-mavx512bw;-mavx512dq;-mavx512vl;-mavx512vbmi" ${sources})
  endif()
  target_include_directories(tmx_${name} PUBLIC ${CMAKE_SOURCE_DIR})
  if(TMX_LAYERS)
    list(GET TMX_LAYERS -1 below)
    target_link_libraries(tmx_${name} PUBLIC ${below})
  else()
    target_link_libraries(tmx_${name} PUBLIC Threads::Threads OpenSSL::Crypto)
  endif()
  set(TMX_LAYERS ${TMX_LAYERS} tmx_${name} PARENT_SCOPE)
endfunction()

function(tmx_shared_library name)
  set(objects "")
  foreach(layer IN LISTS TMX_LAYERS)
    list(APPEND objects $<TARGET_OBJECTS:${layer}>)
  endforeach()
  add_library(${name} SHARED ${objects})
  target_include_directories(${name} INTERFACE
    $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}> $<INSTALL_INTERFACE:include>)
  target_link_libraries(${name} PRIVATE Threads::Threads OpenSSL::Crypto)
  target_link_options(${name} PRIVATE $<$<CXX_COMPILER_ID:GNU>:LINKER:--no-undefined>)
  set_target_properties(${name} PROPERTIES
    LINKER_LANGUAGE CXX VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
endfunction()
