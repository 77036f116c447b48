# The library: every .cpp under the subsystem folders, compiled once into an object library and packaged as
# libvornbase (shared by default) and as a static archive that the tests link to reach internal helpers.
set(VORN_SUBSYSTEMS core color geometry imgproc bkmodel objects tracking analytics recognition)
set(VORN_SOURCES "")
foreach(dir IN LISTS VORN_SUBSYSTEMS)
  file(GLOB dir_sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/${dir}/*.cpp")
  list(APPEND VORN_SOURCES ${dir_sources})
endforeach()
vorn_set_isa_flags(${VORN_SOURCES})

add_library(vornbase_obj OBJECT ${VORN_SOURCES})
target_include_directories(vornbase_obj
  PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
  PRIVATE ${PROJECT_SOURCE_DIR})
target_compile_definitions(vornbase_obj PRIVATE VORN_BUILDING_LIBRARY
  $<$<BOOL:${VORN_FAULT_INJECTION}>:VORN_FAULT_INJECTION=1>)
set_target_properties(vornbase_obj PROPERTIES C_VISIBILITY_PRESET hidden CXX_VISIBILITY_PRESET hidden
  VISIBILITY_INLINES_HIDDEN ON)
target_link_libraries(vornbase_obj PRIVATE vorn_flags)

if(VORN_BUILD_SHARED)
  add_library(vornbase SHARED $<TARGET_OBJECTS:vornbase_obj>)
  set_target_properties(vornbase PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION 1)
else()
  add_library(vornbase STATIC $<TARGET_OBJECTS:vornbase_obj>)
endif()
target_include_directories(vornbase PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>)
target_link_libraries(vornbase PRIVATE m)

add_library(vornbase_static STATIC $<TARGET_OBJECTS:vornbase_obj>)
target_include_directories(vornbase_static PUBLIC ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR})
target_compile_definitions(vornbase_static PUBLIC
  $<$<BOOL:${VORN_FAULT_INJECTION}>:VORN_FAULT_INJECTION=1>)
target_link_libraries(vornbase_static PUBLIC m)

# The exported names, one file per family under cmake/exports/; the symbol test and the Windows .def file are
# both made from this one list.
file(GLOB VORN_EXPORT_LISTS CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/cmake/exports/*.txt")
set(VORN_EXPORTS "")
foreach(f IN LISTS VORN_EXPORT_LISTS)
  file(STRINGS ${f} names REGEX "^[A-Za-z_][A-Za-z0-9_]*$")
  list(APPEND VORN_EXPORTS ${names})
endforeach()
list(SORT VORN_EXPORTS)
list(JOIN VORN_EXPORTS "\n" VORN_EXPORTS_TEXT)
file(WRITE ${PROJECT_BINARY_DIR}/vornbase.exports "${VORN_EXPORTS_TEXT}\n")
