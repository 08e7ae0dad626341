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

# An include root that holds one folder of the tree and nothing else: a
# directory of the build tree with a link named `dir` to the source folder.
# Headers keep their spelling ("core/Date.h", "Sampling/CPUSampler.h"), but a
# target sees only the folders of the modules it links, so an include of a
# module above it does not compile. `dir` may be nested ("tests/programs").
function(orvantine_include_root out name dir)
  set(root ${PROJECT_BINARY_DIR}/include/${name})
  get_filename_component(parent ${root}/${dir} DIRECTORY)
  file(MAKE_DIRECTORY ${parent})
  file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${dir} ${root}/${dir} SYMBOLIC)
  set(${out} ${root} PARENT_SCOPE)
endfunction()

# Gives `target` the include root of its own folder, exported to whoever
# links it, and records it as ORVANTINE_INCLUDE_ROOT for targets that need a
# module's headers without linking it.
function(orvantine_module_includes target dir)
  orvantine_include_root(root ${target} ${dir})
  target_include_directories(${target} PUBLIC ${root})
  set_target_properties(${target} PROPERTIES ORVANTINE_INCLUDE_ROOT ${root})
endfunction()

function(orvantine_module name dir)
  orvantine_sources(sources ${dir})
  add_library(${name} STATIC ${sources})
  orvantine_module_includes(${name} ${dir})
endfunction()
