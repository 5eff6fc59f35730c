include(CMakePackageConfigHelpers)

install(TARGETS posteffect EXPORT PostEffectTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/posteffect DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT PostEffectTargets NAMESPACE PostEffect::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/PostEffect)
configure_package_config_file(cmake/PostEffectConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/PostEffectConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/PostEffect)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/PostEffectConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/PostEffectConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/PostEffectConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/PostEffect)
# Relative to the .pc file, so that an install under another --prefix works.
file(RELATIVE_PATH PE_PC_TO_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/posteffect.pc.in ${CMAKE_CURRENT_BINARY_DIR}/posteffect.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/posteffect.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
install(DIRECTORY ${PE_BUILD_ASSET_DIR}/ DESTINATION ${CMAKE_INSTALL_DATADIR}/posteffect
  OPTIONAL)
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
