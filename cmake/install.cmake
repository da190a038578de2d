# The install tree: both libraries, the public headers and the package that find_package(Rastrel) reads.
include(CMakePackageConfigHelpers)
set(rastrel_package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Rastrel)

if(NOT WIN32)
  set_target_properties(Rastrel PROPERTIES INSTALL_RPATH "$ORIGIN")   # finds the other library beside it
endif()
install(TARGETS Rastrel Ondrel EXPORT RastrelTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
install(EXPORT RastrelTargets NAMESPACE Rastrel:: DESTINATION ${rastrel_package_folder})

configure_package_config_file(cmake/RastrelConfig.cmake.in ${PROJECT_BINARY_DIR}/RastrelConfig.cmake
  INSTALL_DESTINATION ${rastrel_package_folder} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/RastrelConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/RastrelConfig.cmake ${PROJECT_BINARY_DIR}/RastrelConfigVersion.cmake
  DESTINATION ${rastrel_package_folder})
