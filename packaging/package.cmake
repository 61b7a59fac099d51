# What `cmake --install` puts in place and the target "package" puts into a zip: what a host ships
# and what its developers read.

include(GNUInstallDirs)
# As a file like any other: install(TARGETS) may edit a program, which would break its signature.
install(PROGRAMS $<TARGET_FILE:photos-helper> DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES docs/photos-helper.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES protocol/schema/request.schema.json protocol/schema/response.schema.json
  DESTINATION ${CMAKE_INSTALL_DATADIR}/photos-helper)
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})

if(PHOTOS_HELPER_UNIVERSAL)
  set(CPACK_SYSTEM_NAME macos-universal)
else()
  string(TOLOWER "${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR}" CPACK_SYSTEM_NAME)
endif()
set(CPACK_GENERATOR ZIP)
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)
