# What makes a program of macOS's own out of photos-helper: the property list in its binary, which
# tells the system who asks for the Photos library and why, and its signature.

set(PHOTOS_HELPER_BUNDLE_IDENTIFIER "org.photos-helper" CACHE STRING
  "Under which identifier macOS keeps the user's grant")
set(PHOTOS_HELPER_USAGE_DESCRIPTION
  "Lists, copies and removes photos and videos when the app that runs it asks for it." CACHE STRING
  "What macOS tells the user when it asks for access")
set(PHOTOS_HELPER_SIGNING_IDENTITY "-" CACHE STRING
  "The identity that codesign signs with; - signs ad hoc, for this machine and this build")
# What ships is for every Mac; what is built for this one need not be.
set(is_release OFF)
if(CMAKE_BUILD_TYPE STREQUAL "Release")
  set(is_release ON)
endif()
option(PHOTOS_HELPER_UNIVERSAL "Build photos-helper for Apple silicon and Intel" ${is_release})

set(photos_helper_packaging ${CMAKE_CURRENT_LIST_DIR})

function(photos_helper_xml_text text result)
  string(REPLACE "&" "&amp;" text "${text}")
  string(REPLACE "<" "&lt;" text "${text}")
  set(${result} "${text}" PARENT_SCOPE)
endfunction()

# To be called last: the libraries that `program` is made of follow it.
function(photos_helper_package program)
  photos_helper_xml_text("${PHOTOS_HELPER_BUNDLE_IDENTIFIER}" identifier)
  photos_helper_xml_text("${PHOTOS_HELPER_USAGE_DESCRIPTION}" usage_description)
  set(property_list ${PROJECT_BINARY_DIR}/Info.plist)
  configure_file(${photos_helper_packaging}/Info.plist.in ${property_list} @ONLY)
  set(entitlements ${photos_helper_packaging}/photos-helper.entitlements)

  target_link_options(${program} PRIVATE
    "LINKER:-sectcreate,__TEXT,__info_plist,${property_list}")
  set_property(TARGET ${program} APPEND PROPERTY LINK_DEPENDS ${property_list} ${entitlements})

  # The hardened runtime loads no sanitizer's library.
  set(hardened --options runtime)
  if(PHOTOS_HELPER_SANITIZERS)
    set(hardened "")
  endif()
  # Notarization wants the moment of signing from Apple's clock; an ad-hoc signature has none.
  set(timestamp --timestamp)
  if(PHOTOS_HELPER_SIGNING_IDENTITY STREQUAL "-")
    set(timestamp "")
  endif()
  add_custom_command(TARGET ${program} POST_BUILD
    COMMAND codesign --force --sign "${PHOTOS_HELPER_SIGNING_IDENTITY}"
      --identifier "${PHOTOS_HELPER_BUNDLE_IDENTIFIER}" ${hardened} ${timestamp}
      --entitlements "${entitlements}" $<TARGET_FILE:${program}>
    COMMENT "Signing ${program}" VERBATIM)

  if(PHOTOS_HELPER_UNIVERSAL)
    # Homebrew's libraries are for one processor, so the programs that link them stay as they are.
    set_target_properties(${program} ${ARGN} PROPERTIES OSX_ARCHITECTURES "arm64;x86_64")
  endif()
endfunction()
