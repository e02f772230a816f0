# Every header must compile on its own. Each gets a source of two lines: the second include shows
# that the first one guarded itself. The objects are built with the tests and are linked nowhere.
function(tmx_header_check)
  file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE ${CMAKE_SOURCE_DIR}
    ${CMAKE_SOURCE_DIR}/tmxtools/*.h ${CMAKE_SOURCE_DIR}/compiler/*.h)
  set(sources "")
  foreach(header IN LISTS headers)
    string(REPLACE "/" "_" name ${header})
    set(source ${CMAKE_BINARY_DIR}/header_check/${name}.cpp)
    set(text "#include \"${header}\"\n#include \"${header}\"  // once more\n")
    file(CONFIGURE OUTPUT ${source} CONTENT "${text}" @ONLY)
    list(APPEND sources ${source})
  endforeach()
  add_library(header_check OBJECT ${sources})
  target_include_directories(header_check PRIVATE ${CMAKE_SOURCE_DIR})
  target_compile_options(header_check PRIVATE -O0 -g0)
endfunction()
