# What an installed tree holds, in two components: "runtime" is what runs (daemon, tool, plug-ins and
# the libraries they load), "development" what programs of clients are built with. A tree may be
# installed anywhere and moved: programs and libraries find each other by their relative places.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

file(RELATIVE_PATH zv_lib_from_bin /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
file(RELATIVE_PATH zv_lib_from_sbin /${CMAKE_INSTALL_SBINDIR} /${CMAKE_INSTALL_LIBDIR})

# --- runtime
install(TARGETS zv_acl_rm RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT runtime)
set_target_properties(zv_acl_rm PROPERTIES INSTALL_RPATH "\$ORIGIN/${zv_lib_from_sbin}")
if(TARGET aclrmctl)
  install(TARGETS aclrmctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
  set_target_properties(aclrmctl PROPERTIES INSTALL_RPATH "\$ORIGIN/${zv_lib_from_bin}")
endif()
install(TARGETS acl_rm_file_logger acl_rm_connector
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/zv_acl_rm COMPONENT runtime)

# The RPC library and what it shares with its siblings lie beneath the client library too. The rest
# of the software platform is the daemon's, unless that runs on another one.
set(zv_installed_platform zv_rpc zv_sim)
if(NOT ZV_PLATFORM_DIR)
  list(APPEND zv_installed_platform zv_api zv_log zv_net zv_complib)
endif()
install(TARGETS ${zv_installed_platform} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime)

# --- the client library
install(TARGETS zv_acl_rm_client
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
install(TARGETS zv_acl_rm_client_static
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/zv_acl_rm DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        COMPONENT development FILES_MATCHING PATTERN "*.h" PATTERN "*.hpp")

set(zv_pc_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH ZV_PREFIX_FROM_PC /${zv_pc_dir} /)
string(REGEX REPLACE "/$" "" ZV_PREFIX_FROM_PC "${ZV_PREFIX_FROM_PC}")
configure_file(${PROJECT_SOURCE_DIR}/packaging/pkgconfig/zv_acl_rm.pc.in
               ${PROJECT_BINARY_DIR}/packaging/zv_acl_rm.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/packaging/zv_acl_rm.pc DESTINATION ${zv_pc_dir} COMPONENT development)

set(zv_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zv_acl_rm)
configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/packaging/cmake/zv_acl_rmConfig.cmake.in
  ${PROJECT_BINARY_DIR}/packaging/zv_acl_rmConfig.cmake INSTALL_DESTINATION ${zv_cmake_dir}
  PATH_VARS CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_INCLUDEDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/packaging/zv_acl_rmConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/packaging/zv_acl_rmConfig.cmake
              ${PROJECT_BINARY_DIR}/packaging/zv_acl_rmConfigVersion.cmake
        DESTINATION ${zv_cmake_dir} COMPONENT development)

# --- manual pages: those that are written, and those that are made from the headers' comments
foreach(zv_section 1 5 7 8)
  file(GLOB zv_pages CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/packaging/man/*.${zv_section})
  if(zv_pages)
    install(FILES ${zv_pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${zv_section} COMPONENT runtime)
  endif()
endforeach()

find_package(Python3 3.9 COMPONENTS Interpreter)
if(Python3_FOUND)
  file(GLOB zv_page_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/zv_acl_rm/*.h
       ${PROJECT_SOURCE_DIR}/packaging/man/* ${PROJECT_SOURCE_DIR}/scripts/manlib/*.py)
  set(zv_made_pages ${PROJECT_BINARY_DIR}/packaging/man)
  add_custom_command(OUTPUT ${zv_made_pages}.stamp
                     COMMAND ${CMAKE_COMMAND} -E rm -rf ${zv_made_pages}
                     COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/scripts/make-man ${zv_made_pages}
                     COMMAND ${CMAKE_COMMAND} -E touch ${zv_made_pages}.stamp
                     DEPENDS ${zv_page_sources} ${PROJECT_SOURCE_DIR}/scripts/make-man
                     COMMENT "Making manual pages")
  add_custom_target(zv_man ALL DEPENDS ${zv_made_pages}.stamp)
  install(DIRECTORY ${zv_made_pages}/man3 DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT development OPTIONAL)
  install(DIRECTORY ${zv_made_pages}/man7 DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT runtime OPTIONAL)
endif()

# --- completion of the tool's words, under the name by which the shell looks for it
if(EXISTS ${PROJECT_SOURCE_DIR}/tools/completion/aclrmctl.bash)
  install(FILES ${PROJECT_SOURCE_DIR}/tools/completion/aclrmctl.bash RENAME aclrmctl
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT runtime)
endif()

# --- the Python module and the scheme of the tool's JSON
install(DIRECTORY ${PROJECT_SOURCE_DIR}/python/zv_acl_rm DESTINATION lib/python3/dist-packages
        COMPONENT development FILES_MATCHING PATTERN "*.py" PATTERN "py.typed")
if(TARGET aclrmctl)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/tools/aclrmctl/schema
          DESTINATION ${CMAKE_INSTALL_DATADIR}/zv_acl_rm COMPONENT runtime)
endif()
