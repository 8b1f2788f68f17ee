# Headers, the CMake package (find_package(zorvi) gives zorvi::core, …) and pkg-config files.
include(CMakePackageConfigHelpers)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/zorvi DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)
install(EXPORT zorviTargets NAMESPACE zorvi:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zorvi COMPONENT dev)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/zorviConfig.cmake.in
  ${PROJECT_BINARY_DIR}/zorviConfig.cmake INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zorvi)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zorviConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zorviConfig.cmake ${PROJECT_BINARY_DIR}/zorviConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zorvi COMPONENT dev)

get_property(zorvi_pc_libs GLOBAL PROPERTY ZORVI_PC_LIBS)
# The public headers include only the standard library, and a shared library brings its own
# dependencies: only static libraries make their users link (and so install) those too.
set(ZORVI_PC_PRIVATE "")
if(NOT BUILD_SHARED_LIBS)
  get_property(zorvi_pc_private GLOBAL PROPERTY ZORVI_PC_PRIVATE)
  list(REMOVE_DUPLICATES zorvi_pc_private)
  list(JOIN zorvi_pc_private ", " zorvi_pc_private)
  set(ZORVI_PC_PRIVATE "Requires.private: ${zorvi_pc_private}")
endif()
list(JOIN zorvi_pc_libs " " ZORVI_PC_LIBS)
# Relative to the .pc file, so an installation can be moved or made with cmake --install --prefix.
file(RELATIVE_PATH ZORVI_PC_TO_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" ZORVI_PC_TO_PREFIX "${ZORVI_PC_TO_PREFIX}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/zorvi.pc.in ${PROJECT_BINARY_DIR}/zorvi.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zorvi.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
