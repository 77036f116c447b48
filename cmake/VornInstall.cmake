# `cmake --install` (and `make install`): the public headers, the library, a CMake package (find_package(VornBase)
# gives the imported target VornBase::vornbase) and a pkg-config file (vornbase.pc). Both package files locate
# the installation from their own place, so an installed tree can be moved to another prefix.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(VORN_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/VornBase)
set(VORN_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

file(GLOB VORN_PUBLIC_HEADERS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/vorn*.h)
install(FILES ${VORN_PUBLIC_HEADERS} ${VORN_GENERATED_INCLUDE}/vorn_version.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

install(TARGETS vornbase EXPORT VornBaseTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(WIN32 AND VORN_BUILD_SHARED)
  install(FILES ${PROJECT_BINARY_DIR}/vornbase.def DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()

install(EXPORT VornBaseTargets NAMESPACE VornBase:: DESTINATION ${VORN_CMAKE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/VornBaseConfig.cmake.in
  ${PROJECT_BINARY_DIR}/VornBaseConfig.cmake INSTALL_DESTINATION ${VORN_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VornBaseConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VornBaseConfig.cmake ${PROJECT_BINARY_DIR}/VornBaseConfigVersion.cmake
  DESTINATION ${VORN_CMAKE_DIR})

# pkg-config: the prefix is found relative to the .pc file itself.
file(RELATIVE_PATH VORN_PC_TO_PREFIX /root/${VORN_PKGCONFIG_DIR} /root)
string(REGEX REPLACE "/$" "" VORN_PC_TO_PREFIX "${VORN_PC_TO_PREFIX}")
set(VORN_PC_LIBS_PRIVATE "-lm")
set(VORN_PC_CFLAGS "")
if(NOT VORN_BUILD_SHARED)
  string(PREPEND VORN_PC_LIBS_PRIVATE "-lstdc++ ")
  if(WIN32)
    set(VORN_PC_CFLAGS " -DVORN_STATIC")
  endif()
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/vornbase.pc.in ${PROJECT_BINARY_DIR}/vornbase.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vornbase.pc DESTINATION ${VORN_PKGCONFIG_DIR})

# The installed copy works for an outside project, through find_package and through pkg-config. Under the
# sanitizers the consumer is built with the same instrumentation as the library it links.
if(VORN_BUILD_TESTS AND NOT CMAKE_CROSSCOMPILING)
  set(consumer_flags "")
  if(VORN_SANITIZE)
    set(consumer_flags "-fsanitize=address,undefined -fno-sanitize-recover=all")
  endif()
  add_test(NAME installed_package_consumer
    COMMAND sh ${PROJECT_SOURCE_DIR}/tests/consumer/run.sh
            ${PROJECT_BINARY_DIR} ${PROJECT_SOURCE_DIR}/tests/consumer ${PROJECT_VERSION}
            ${CMAKE_COMMAND} ${CMAKE_GENERATOR} ${CMAKE_C_COMPILER} ${VORN_BUILD_SHARED} "${consumer_flags}")
  set_tests_properties(installed_package_consumer PROPERTIES TIMEOUT 300)
endif()
