# /usr/sbin/vesk, the headers, and what a plug-in build looks for: vesk.pc and a CMake package; and
# /usr/bin/veskctl with its manual and completions.
include(CMakePackageConfigHelpers)

install(TARGETS vesk DESTINATION sbin)
install(DIRECTORY include/vesk include/eloop DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
foreach(page IN ITEMS vesk-plugin.3 vesk-config.5 vesk-lsql.7 vesk.8)
  string(REGEX MATCH "[0-9]$" section ${page})
  install(FILES docs/man/${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section})
endforeach()

configure_file(cmake/vesk.pc.in vesk.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vesk.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

configure_package_config_file(cmake/vesk-config.cmake.in vesk-config.cmake
                              INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vesk
                              PATH_VARS CMAKE_INSTALL_INCLUDEDIR)
write_basic_package_version_file(vesk-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/vesk-config.cmake
              ${PROJECT_BINARY_DIR}/vesk-config-version.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vesk)

if(VESK_CLIENTS)
  install(TARGETS veskctl DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES docs/man/veskctl.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  install(FILES clients/completion/veskctl.bash
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME veskctl)
  install(FILES clients/completion/_veskctl
          DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
  install(FILES clients/completion/veskctl.fish
          DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
endif()
