# Warnings for the project's own targets only; third-party headers stay quiet.
function(zorvi_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion
    -Wno-missing-field-initializers)  # plain records lean on default member initialisers
  if(ZORVI_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

# Installs a library into the package and adds it to zorvi.pc. PC_REQUIRES names the pkg-config
# modules it links privately.
function(zorvi_install_library target)
  cmake_parse_arguments(ARG "" "" "PC_REQUIRES" ${ARGN})
  install(TARGETS ${target} EXPORT zorviTargets
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
          ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
          RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  get_target_property(name ${target} OUTPUT_NAME)
  set_property(GLOBAL APPEND PROPERTY ZORVI_PC_LIBS "-l${name}")
  if(ARG_PC_REQUIRES)
    set_property(GLOBAL APPEND PROPERTY ZORVI_PC_PRIVATE ${ARG_PC_REQUIRES})
  endif()
endfunction()
