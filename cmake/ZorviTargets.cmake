# Before 1.0 every minor version may change the ABI, so it is part of the SONAME (libzorvi-core.so.0.1).
if(PROJECT_VERSION_MAJOR EQUAL 0)
  set(ZORVI_SOVERSION "0.${PROJECT_VERSION_MINOR}")
else()
  set(ZORVI_SOVERSION "${PROJECT_VERSION_MAJOR}")
endif()

# Warnings for the project's own targets only; third-party headers stay quiet.
function(zorvi_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion
    -Wno-missing-field-initializers)  # plain records lean on default member initialisers
  if(ZORVI_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

# Installs a library into the package and adds it to zorvi.pc. PC_REQUIRES names the pkg-config
# modules it links privately; only a static library's consumers need them.
function(zorvi_install_library target)
  cmake_parse_arguments(ARG "" "" "PC_REQUIRES" ${ARGN})
  # Installed libraries carry no search path: they live where the loader looks already.
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "")
  install(TARGETS ${target} EXPORT zorviTargets
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
          ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev
          RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
  get_target_property(name ${target} OUTPUT_NAME)
  set_property(GLOBAL APPEND PROPERTY ZORVI_PC_LIBS "-l${name}")
  if(ARG_PC_REQUIRES)
    set_property(GLOBAL APPEND PROPERTY ZORVI_PC_PRIVATE ${ARG_PC_REQUIRES})
  endif()
endfunction()

# Sets var to the SONAME of lib<name>.so found in dirs (or the system's paths): the name a program opening
# it at run time must ask for, as the unversioned .so link only exists where development files are
# installed. Falls back to lib<name>.so when the SONAME can't be read.
function(zorvi_codec_soname var name dirs)
  set(soname "lib${name}.so")
  find_library(ZORVI_${var}_FILE NAMES ${name} HINTS ${dirs})
  if(ZORVI_${var}_FILE AND CMAKE_OBJDUMP)
    execute_process(COMMAND ${CMAKE_OBJDUMP} -p ${ZORVI_${var}_FILE}
                    OUTPUT_VARIABLE headers ERROR_QUIET RESULT_VARIABLE failed)
    if(NOT failed AND headers MATCHES "SONAME +([^\n ]+)")
      set(soname "${CMAKE_MATCH_1}")
    endif()
  endif()
  message(STATUS "${name} is opened at run time as ${soname}")
  set(${var} "${soname}" PARENT_SCOPE)
endfunction()

# Links the C++ runtime into target (see ZORVI_STATIC_CXX_RUNTIME).
function(zorvi_static_cxx_runtime target)
  if(ZORVI_STATIC_CXX_RUNTIME)
    target_link_options(${target} PRIVATE -static-libstdc++ -static-libgcc)
  endif()
endfunction()

# Gives target (an object library) Cairo: the shared library, or, for a program that sets ZORVI_STATIC_CAIRO
# on itself (see the option), Cairo's and pixman's archives and only the shared libraries those use.
# Both copies of Cairo can live in one process: the text module draws with its own (see text_engine.hpp).
function(zorvi_link_cairo target)
  if(BUILD_SHARED_LIBS AND ZORVI_STATIC_CAIRO)
    find_library(ZORVI_CAIRO_ARCHIVE libcairo.a HINTS ${CAIRO_LIBRARY_DIRS})
    find_library(ZORVI_PIXMAN_ARCHIVE libpixman-1.a HINTS ${CAIRO_STATIC_LIBRARY_DIRS})
    if(NOT ZORVI_CAIRO_ARCHIVE OR NOT ZORVI_PIXMAN_ARCHIVE)
      message(FATAL_ERROR "ZORVI_STATIC_CAIRO needs libcairo.a and libpixman-1.a (libcairo2-dev, "
                          "libpixman-1-dev); turn it off to link the shared Cairo")
    endif()
    set(shared ${CAIRO_STATIC_LIBRARIES})
    list(REMOVE_ITEM shared cairo pixman-1)
    list(REMOVE_DUPLICATES shared)
    list(TRANSFORM shared PREPEND "-l")
    set(static_cairo ${ZORVI_CAIRO_ARCHIVE} ${ZORVI_PIXMAN_ARCHIVE} ${shared})
    target_link_libraries(${target} PUBLIC
      "$<IF:$<BOOL:$<TARGET_PROPERTY:ZORVI_STATIC_CAIRO>>,${static_cairo},PkgConfig::CAIRO>")
  else()
    target_link_libraries(${target} PUBLIC PkgConfig::CAIRO)
  endif()
endfunction()
