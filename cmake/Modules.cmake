# A module is every source below its folder, minus the other platform's ports.
# Files are picked up by glob so that adding a sampler never edits this file.
if(APPLE)
  set(ORVANTINE_OTHER_PLATFORM linux)
  set(ORVANTINE_PLATFORM darwin)
else()
  set(ORVANTINE_OTHER_PLATFORM darwin)
  set(ORVANTINE_PLATFORM linux)
endif()

function(orvantine_sources out dir)
  file(GLOB_RECURSE found CONFIGURE_DEPENDS
       ${PROJECT_SOURCE_DIR}/${dir}/*.cpp ${PROJECT_SOURCE_DIR}/${dir}/*.c)
  list(FILTER found EXCLUDE REGEX "/${ORVANTINE_OTHER_PLATFORM}/")
  set(${out} ${found} PARENT_SCOPE)
endfunction()

function(orvantine_module name dir)
  orvantine_sources(sources ${dir})
  add_library(${name} STATIC ${sources})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR} ${PROJECT_BINARY_DIR}/generated)
endfunction()
