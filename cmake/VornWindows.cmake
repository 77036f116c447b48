# The Windows dynamic library: vornbase.dll with its import library vornbase.lib and the module-definition file
# vornbase.def, made from the same export list as the symbol test. The C and C++ runtimes of the compiler are
# (and thread library) linked in statically so the DLL needs nothing beyond the system's own DLLs.
if(NOT WIN32)
  return()
endif()

if(VORN_BUILD_SHARED)
  set(def_text "LIBRARY vornbase.dll\nEXPORTS\n")
  foreach(name IN LISTS VORN_EXPORTS)
    string(APPEND def_text "    ${name}\n")
  endforeach()
  # file(CONFIGURE) rewrites the file only when the list changed, so a re-configure does not relink.
  file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/vornbase.def CONTENT "${def_text}" @ONLY)
  target_sources(vornbase PRIVATE ${PROJECT_BINARY_DIR}/vornbase.def)
  set_target_properties(vornbase PROPERTIES PREFIX "" IMPORT_PREFIX "" IMPORT_SUFFIX ".lib")
  target_link_options(vornbase PRIVATE -static -Wl,--no-undefined)
else()
  # Hosts of the static library must not mark the declarations as DLL imports.
  target_compile_definitions(vornbase INTERFACE VORN_STATIC)
endif()

# The tests link the static archive: plain declarations, and self-contained programs that run from any folder
# (under wine too) without the compiler's runtime DLLs.
target_compile_definitions(vornbase_static INTERFACE VORN_STATIC)
target_link_options(vornbase_static INTERFACE -static)

# glibc declares M_PI and the other maths constants in every C++ mode; MinGW's <math.h> only on request.
add_compile_definitions(_USE_MATH_DEFINES)
