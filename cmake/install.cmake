# What `cmake --install` lays out: the library, its headers and packages for find_package and
# pkg-config, and the tool. The tool lives in a folder of its own together with textres.bin, which
# the library looks for beside the running executable; bin/tmx is a link to it.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(tool_dir ${CMAKE_INSTALL_LIBDIR}/tmxtools)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tmxtools)

install(TARGETS tmxtools EXPORT tmxtools LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(EXPORT tmxtools NAMESPACE tmxtools:: DESTINATION ${package_dir})
install(DIRECTORY ${CMAKE_SOURCE_DIR}/tmxtools DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h")

configure_package_config_file(${CMAKE_SOURCE_DIR}/packaging/tmxtoolsConfig.cmake.in
  ${CMAKE_BINARY_DIR}/tmxtoolsConfig.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/tmxtoolsConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/tmxtoolsConfig.cmake
  ${CMAKE_BINARY_DIR}/tmxtoolsConfigVersion.cmake DESTINATION ${package_dir})

file(RELATIVE_PATH prefix_of_pc /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(${CMAKE_SOURCE_DIR}/packaging/tmxtools.pc.in ${CMAKE_BINARY_DIR}/tmxtools.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/tmxtools.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(EXISTS ${CMAKE_SOURCE_DIR}/resources/textres.bin)
  install(FILES ${CMAKE_SOURCE_DIR}/resources/textres.bin DESTINATION ${tool_dir})
endif()
if(TARGET tmx)
  install(TARGETS tmx RUNTIME DESTINATION ${tool_dir})
  install(DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/macro DESTINATION ${tool_dir})
  file(RELATIVE_PATH tool_from_bin /${CMAKE_INSTALL_BINDIR} /${tool_dir}/tmx)
  install(CODE "
    set(bin \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\")
    file(MAKE_DIRECTORY \"\${bin}\")
    file(CREATE_LINK ${tool_from_bin} \"\${bin}/tmx\" SYMBOLIC)")
endif()

set(CPACK_PACKAGE_CONTACT "tmxtools maintainers <tmxtools@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
include(CPack)
