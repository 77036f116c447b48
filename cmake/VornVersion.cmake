# The version lives in one place, project(VERSION) in the top CMakeLists.txt. From it come the generated header
# vorn_version.h (macros and the declaration of vorn_get_version), the shared library's file version, the CMake
# package version file and the pkg-config version. The SONAME number (libvornbase.so.1) changes only when the
# binary interface breaks.
foreach(part MINOR PATCH)
  if(PROJECT_VERSION_${part} GREATER 255)
    message(FATAL_ERROR "version ${PROJECT_VERSION}: minor and patch must fit a byte of VORN_VERSION")
  endif()
endforeach()

set(VORN_GENERATED_INCLUDE "${PROJECT_BINARY_DIR}/include")
configure_file(${PROJECT_SOURCE_DIR}/cmake/vorn_version.h.in ${VORN_GENERATED_INCLUDE}/vorn_version.h @ONLY)

foreach(t vornbase_obj vornbase vornbase_static)
  target_include_directories(${t} PUBLIC $<BUILD_INTERFACE:${VORN_GENERATED_INCLUDE}>)
endforeach()
