# What `cmake --install` puts in place and the target "package" packs. On macOS that is what a host
# ships and what its developers read, in a zip. Elsewhere photos-sim and all documents come too, in
# a .tar.gz and, where Debian's tools are, a .deb that names the libraries it needs.

include(GNUInstallDirs)
set(CPACK_PACKAGE_CONTACT "the photos-helper authors")
set(CPACK_VERBATIM_VARIABLES ON)

install(FILES docs/photos-helper.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})

if(APPLE)
  # As a file like any other: install(TARGETS) may edit a program, which would break its signature.
  install(PROGRAMS $<TARGET_FILE:photos-helper> DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES protocol/schema/request.schema.json protocol/schema/response.schema.json
    DESTINATION ${CMAKE_INSTALL_DATADIR}/photos-helper)
  set(CPACK_GENERATOR ZIP)
else()
  install(TARGETS photos-helper photos-sim)
  install(FILES docs/photos-sim.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  install(DIRECTORY protocol/schema/ DESTINATION ${CMAKE_INSTALL_DATADIR}/photos-helper)
  install(FILES CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
  # Laid out as in the source tree, since the pages link to one another.
  foreach(folder docs hosts protocol/schema tests/transcripts)
    cmake_path(GET folder PARENT_PATH parent)
    install(DIRECTORY ${folder} DESTINATION ${CMAKE_INSTALL_DOCDIR}/${parent}
      PATTERN "*.1" EXCLUDE PATTERN __pycache__ EXCLUDE)
  endforeach()

  set(CPACK_GENERATOR TGZ)
  find_program(DPKG_SHLIBDEPS dpkg-shlibdeps)
  if(DPKG_SHLIBDEPS)
    list(APPEND CPACK_GENERATOR DEB)
  endif()
  set(CPACK_STRIP_FILES ON)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_SECTION utils)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  # "open" asks the desktop; hosts/ has clients in Python.
  set(CPACK_DEBIAN_PACKAGE_SUGGESTS "python3, xdg-utils")
endif()

if(PHOTOS_HELPER_UNIVERSAL)
  set(CPACK_SYSTEM_NAME macos-universal)
else()
  string(TOLOWER "${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR}" CPACK_SYSTEM_NAME)
endif()
include(CPack)
