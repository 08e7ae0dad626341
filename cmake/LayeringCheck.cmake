# Proves the direction of the modules: each library's include path holds only
# its own folder and those of the libraries it links, so a file of a module
# that includes a header of a module above it (or beside it) does not build.
#
# Each case is a one-line source compiled with one library's usage
# requirements, outside the default build; a CTest builds it and expects the
# compiler to report the header as not found. Every library also builds a
# header of its own, so a broken probe cannot pass by failing for another
# reason.

set(ORVANTINE_LAYERING_PROBES ${PROJECT_BINARY_DIR}/layering)

# One header per library, each present in every build.
set(ORVANTINE_LAYERING_Core core/Duration.h)
set(ORVANTINE_LAYERING_PrivateAPIs PrivateAPIs/ResponsiblePID.h)
set(ORVANTINE_LAYERING_HelperProtocol HelperProtocol/HelperFrame.h)
set(ORVANTINE_LAYERING_Sampling Sampling/CPUSampler.h)
set(ORVANTINE_LAYERING_HelperCore helper/HelperOptions.h)
set(ORVANTINE_LAYERING_OrvantineCLI cli/Format.h)

# Builds `header` with the usage requirements of `library`; `expect` is
# BUILDS or FAILS.
function(orvantine_layering_case library header expect)
  if(NOT EXISTS ${PROJECT_SOURCE_DIR}/${header})
    # A missing header would fail for the wrong reason and pass the check.
    message(FATAL_ERROR "Layering check: ${header} does not exist; name another header of its module")
  endif()
  string(MAKE_C_IDENTIFIER "${library}_${header}" id)
  set(probe LayeringProbe_${id})
  set(source ${ORVANTINE_LAYERING_PROBES}/${id}.cpp)
  file(CONFIGURE OUTPUT ${source} CONTENT "#include \"${header}\"\n")
  add_library(${probe} OBJECT EXCLUDE_FROM_ALL ${source})
  target_link_libraries(${probe} PRIVATE ${library})

  if(expect STREQUAL "FAILS")
    set(test Layering.${library}.cannotInclude.${header})
  else()
    set(test Layering.${library}.includes.${header})
  endif()
  add_test(NAME ${test} COMMAND ${CMAKE_COMMAND} --build ${PROJECT_BINARY_DIR} --target ${probe})
  # One build of the tree at a time: concurrent builds share its logs.
  set_tests_properties(${test} PROPERTIES RESOURCE_LOCK orvantine_build_tree LABELS layering)
  if(expect STREQUAL "FAILS")
    # GCC: "<header>: No such file or directory"; Clang: "'<header>' file not found".
    string(REPLACE "." "\\." pattern "${header}")
    set_tests_properties(${test} PROPERTIES PASS_REGULAR_EXPRESSION
                         "${pattern}'?:? *(No such file or directory|file not found)")
  endif()
endfunction()

# Each library builds its own header, and no header of a library it may not
# depend on: below, what each one links; every other library is refused.
set(allowed_Core Core)
set(allowed_PrivateAPIs Core PrivateAPIs)
set(allowed_HelperProtocol Core HelperProtocol)
set(allowed_Sampling Core PrivateAPIs HelperProtocol Sampling)
set(allowed_HelperCore Core PrivateAPIs HelperProtocol Sampling HelperCore)
set(allowed_OrvantineCLI Core PrivateAPIs HelperProtocol Sampling OrvantineCLI)

set(libraries Core PrivateAPIs HelperProtocol Sampling HelperCore OrvantineCLI)
foreach(library ${libraries})
  orvantine_layering_case(${library} ${ORVANTINE_LAYERING_${library}} BUILDS)
  foreach(other ${libraries})
    if(NOT other IN_LIST allowed_${library})
      orvantine_layering_case(${library} ${ORVANTINE_LAYERING_${other}} FAILS)
    endif()
  endforeach()
endforeach()
