# The texts of the codes lie beside every program of the build, where the library looks first.
foreach(folder bin tests docs fuzz bench)
  configure_file(${CMAKE_SOURCE_DIR}/resources/textres.bin
    ${CMAKE_BINARY_DIR}/${folder}/textres.bin COPYONLY)
endforeach()
