# Install rules and the CMake package: find_package(vexa) gives vexa::vexa.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

target_include_directories(vexa_krunugul INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_compile_features(vexa_krunugul INTERFACE cxx_std_20)
set_target_properties(vexa_krunugul PROPERTIES EXPORT_NAME vexa)

install(TARGETS vexa_krunugul EXPORT vexaTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/vexa DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# The solver modules that the build left beside the library, whatever
# modules/ builds: the library opens them from its own directory.
install(CODE "
  file(GLOB vexa_modules
    \"${VEXA_OUTPUT_DIR}/nimbasolver_*.so\"
    \"${VEXA_OUTPUT_DIR}/exhaustive_cppint.so\"
    \"${VEXA_OUTPUT_DIR}/tessix_cppint.so\")
  if(vexa_modules)
    file(INSTALL \${vexa_modules} DESTINATION \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}\")
  endif()
")

# The MIP backend, where it is built, beside the library it uses; the tool
# links it for --solver cbc.
if(TARGET vexa_mip)
  set_target_properties(vexa_mip PROPERTIES INSTALL_RPATH "$ORIGIN")
  install(TARGETS vexa_mip LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()

if(TARGET vexa)
  set_target_properties(vexa PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
  install(TARGETS vexa RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

install(EXPORT vexaTargets NAMESPACE vexa:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vexa)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/vexaConfig.cmake.in
  ${CMAKE_BINARY_DIR}/vexaConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vexa)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/vexaConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/vexaConfig.cmake ${CMAKE_BINARY_DIR}/vexaConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vexa)
