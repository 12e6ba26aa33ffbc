# What `cmake --install` puts below its prefix: library, tool, headers, the package for find_package(fsort CONFIG),
# fsort.pc for pkg-config, and the pages and completions that the tree has.
#
# Nothing installed holds the prefix. The package and fsort.pc find it from their own place, so a tree may be
# moved, unpacked anywhere or put below a staging folder after it was installed.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS fsort fsort_static EXPORT fsortTargets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS fsort_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES include/fsort.h include/fsort.hpp DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# The package of find_package(fsort CONFIG): fsort::fsort and fsort::fsort_static. What the name of the shared
# library promises (one major version is one interface) the version file promises too.
set(FSORT_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/fsort)
install(EXPORT fsortTargets NAMESPACE fsort:: DESTINATION ${FSORT_PACKAGE_DIR})
configure_package_config_file(packaging/fsortConfig.cmake.in "${CMAKE_BINARY_DIR}/fsortConfig.cmake"
                              INSTALL_DESTINATION ${FSORT_PACKAGE_DIR}
                              NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file("${CMAKE_BINARY_DIR}/fsortConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_BINARY_DIR}/fsortConfig.cmake" "${CMAKE_BINARY_DIR}/fsortConfigVersion.cmake"
        DESTINATION ${FSORT_PACKAGE_DIR})

# fsort.pc. A folder that was given as an absolute path stays one; the others are told from the prefix, and the
# prefix from where fsort.pc lies, unless FSORT_PC_PREFIX says it: a system's own package does not move, and with
# /usr spelt out pkg-config leaves out the folders that compilers search anyway.
set(FSORT_PC_PREFIX "" CACHE STRING "Prefix in fsort.pc; when empty it is found from the place of the file")
set(FSORT_PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(FSORT_PC_PREFIX)
elseif(IS_ABSOLUTE "${FSORT_PC_DIR}")
  set(FSORT_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH FSORT_PC_UP "/prefix/${FSORT_PC_DIR}" "/prefix")
  string(REGEX REPLACE "/$" "" FSORT_PC_UP "${FSORT_PC_UP}")
  set(FSORT_PC_PREFIX "\${pcfiledir}/${FSORT_PC_UP}")
endif()
foreach(folder LIBDIR INCLUDEDIR)
  set(FSORT_PC_${folder} "${CMAKE_INSTALL_${folder}}")
  if(NOT IS_ABSOLUTE "${FSORT_PC_${folder}}")
    set(FSORT_PC_${folder} "\${prefix}/${FSORT_PC_${folder}}")
  endif()
endforeach()
if(WIN32)
  set(FSORT_PC_CFLAGS_PRIVATE -DFSORT_STATIC)
  set(FSORT_PC_LIBS_PRIVATE "")
else()
  set(FSORT_PC_CFLAGS_PRIVATE "")
  set(FSORT_PC_LIBS_PRIVATE -pthread)
endif()
configure_file(packaging/fsort.pc.in "${CMAKE_BINARY_DIR}/fsort.pc" @ONLY)
install(FILES "${CMAKE_BINARY_DIR}/fsort.pc" DESTINATION ${FSORT_PC_DIR})

# Manual pages by their section, and completions, which the tool itself writes, where each shell looks. Windows has
# neither; a cross build cannot run the tool.
foreach(section 1 3 7)
  file(GLOB pages CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/man/*.${section}")
  if(pages AND NOT WIN32)
    install(FILES ${pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section})
  endif()
endforeach()
set(FSORT_ZSH_COMPLETIONS_DIR ${CMAKE_INSTALL_DATADIR}/zsh/site-functions CACHE STRING "Where zsh finds completions")
function(fsort_install_completion shell folder name)
  set(script "${CMAKE_BINARY_DIR}/completions/${shell}/${name}")
  add_custom_command(OUTPUT "${script}" VERBATIM DEPENDS fsort_tool
                     COMMAND ${CMAKE_COMMAND} -E make_directory "${CMAKE_BINARY_DIR}/completions/${shell}"
                     COMMAND fsort_tool --completion=${shell} > "${script}"
                     COMMENT "Writing the completions for ${shell}")
  add_custom_target(fsort_completion_${shell} ALL DEPENDS "${script}")
  install(FILES "${script}" DESTINATION ${folder})
endfunction()
if(EXISTS "${CMAKE_CURRENT_SOURCE_DIR}/tool/completion.cpp" AND NOT CMAKE_CROSSCOMPILING)
  fsort_install_completion(bash ${CMAKE_INSTALL_DATADIR}/bash-completion/completions fsort)
  fsort_install_completion(zsh ${FSORT_ZSH_COMPLETIONS_DIR} _fsort)
  fsort_install_completion(fish ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d fsort.fish)
endif()
