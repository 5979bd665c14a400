# cmake --install BUILD --prefix DIR. The programs find their tools and resources from where they lie
# themselves, so the folders' names are fixed and the prefix is free until the end.
set(bin bin)
set(tools libexec/tarnvale)

foreach(program tarnvale tarnvale-helper tarnvale-settings)
  if(TARGET ${program})
    install(TARGETS ${program} RUNTIME DESTINATION ${bin})
  endif()
endforeach()
foreach(program tarnvale-disktools tarnvale-tray)
  if(TARGET ${program})
    install(TARGETS ${program} RUNTIME DESTINATION ${tools})
  endif()
endforeach()
foreach(applet ${TARNVALE_APPLETS})
  install(FILES ${CMAKE_BINARY_DIR}/${tools}/${applet} DESTINATION ${tools})
endforeach()

file(GLOB tables CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/resources/*.lproj)
install(DIRECTORY ${tables} DESTINATION share/tarnvale FILES_MATCHING PATTERN *.strings)
install(DIRECTORY ${CMAKE_BINARY_DIR}/share/tarnvale/images DESTINATION share/tarnvale
  FILES_MATCHING PATTERN *.png)
install(DIRECTORY ${CMAKE_BINARY_DIR}/share/icons DESTINATION share FILES_MATCHING PATTERN *.png)
install(FILES ${CMAKE_SOURCE_DIR}/resources/pictures/${TARNVALE_ICON}.svg
  DESTINATION share/icons/hicolor/scalable/apps)

set(packaging ${CMAKE_SOURCE_DIR}/packaging)
file(GLOB manuals CONFIGURE_DEPENDS ${packaging}/man/*.1)
install(FILES ${manuals} DESTINATION share/man/man1)
file(GLOB_RECURSE entries CONFIGURE_DEPENDS ${packaging}/*.desktop)
install(FILES ${entries} DESTINATION share/applications)
install(FILES ${packaging}/completions/tarnvale.bash RENAME tarnvale
  DESTINATION share/bash-completion/completions)
install(FILES ${packaging}/completions/_tarnvale DESTINATION share/zsh/site-functions)
install(FILES ${packaging}/completions/tarnvale.fish DESTINATION share/fish/vendor_completions.d)

# A unit names its program by a whole path, in which "%" would begin a specifier.
install(CODE "set(unit \"${packaging}/systemd/tarnvale-helper.service\")
set(staged \"${CMAKE_BINARY_DIR}/install/tarnvale-helper.service\")")
install(CODE [[
  file(READ "${unit}" text)
  string(REPLACE "%" "%%" program "${CMAKE_INSTALL_PREFIX}/bin/tarnvale-helper")
  string(REPLACE "=/usr/bin/tarnvale-helper" "=\"${program}\"" text "${text}")
  file(WRITE "${staged}" "${text}")
  file(INSTALL "${staged}" DESTINATION "${CMAKE_INSTALL_PREFIX}/lib/systemd/user")
]])
