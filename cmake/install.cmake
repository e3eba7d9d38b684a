# What is installed where, for CMake (find_package) and for pkg-config, and the target that removes it again.
include(CMakePackageConfigHelpers)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zoeavl)
install(TARGETS zoeavl zoeavl_headers zoeavl_host zoeavl_inspect EXPORT zoeavl-targets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES host/zoeavl_host.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT zoeavl-targets NAMESPACE zoeavl:: DESTINATION ${package_dir})
write_basic_package_version_file(zoeavl-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES cmake/zoeavl-config.cmake ${CMAKE_CURRENT_BINARY_DIR}/zoeavl-config-version.cmake
        DESTINATION ${package_dir})
install(FILES LICENSE README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})

# An installation can be moved as a whole, unless a folder in it was given as an absolute path.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(pc_prefix ${CMAKE_INSTALL_PREFIX})
else()
  file(RELATIVE_PATH pc_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  set(pc_prefix "\${pcfiledir}/${pc_prefix}")
endif()
foreach(folder LIBDIR INCLUDEDIR)
  set(pc_${folder} "\${prefix}")
  cmake_path(APPEND pc_${folder} "${CMAKE_INSTALL_${folder}}")
endforeach()
foreach(name zoeavl zoeavl-host zoeavl-inspect)
  configure_file(cmake/${name}.pc.in ${name}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

# gdb loads its script by itself from the folder that it trusts, which stands beside the system's libraries, and else
# from beside the library, once its user trusts that folder.
install(CODE "
  set(CMAKE_INSTALL_LIBDIR \"${CMAKE_INSTALL_LIBDIR}\")
  cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_LIBDIR BASE_DIRECTORY \"\${CMAKE_INSTALL_PREFIX}\" OUTPUT_VARIABLE folder)
  if(CMAKE_INSTALL_PREFIX STREQUAL \"/usr\")
    set(folder \"/usr/share/gdb/auto-load\${folder}\")
  endif()
  file(INSTALL \"${PROJECT_SOURCE_DIR}/inspect/gdb.py\" DESTINATION \"\${folder}\" RENAME ${gdb_script})")

if(PROJECT_IS_TOP_LEVEL)
  add_custom_target(uninstall
    COMMAND ${CMAKE_COMMAND} -DMANIFEST=${PROJECT_BINARY_DIR}/install_manifest.txt
            -P ${PROJECT_SOURCE_DIR}/cmake/uninstall.cmake
    VERBATIM)
endif()
