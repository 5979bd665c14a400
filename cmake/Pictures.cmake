# The pictures: drawn as SVG in resources/pictures, shipped as PNG of scale 1 and 2 beside the texts.
# NAME:POINTS. A picture that is missing here or there fails the
# configuration.
set(TARNVALE_PICTURES
  TarnvaleStatusItemColor:22
  TarnvaleStatusItemBlack:22
  TarnvaleStatusItemWhite:22
  TarnvaleStatusItemPressed:22
  RamDisk_10.10_16:16
  RamDisk_10.10_128:128
  RamDisk_10.6_16:16
  RamDisk_10.6_128:128
  com.tarnvale.Tarnvale:128
  com.tarnvale.Tarnvale_16:16
  com.tarnvale.Tarnvale_24:24
  syncIcon:16
  kind-safari:32
  kind-xcode:32
  kind-simulator:32
  kind-firefox:32
  kind-appcode:32
  kind-chrome:32
  kind-opera:32
  generic-file:16
  generic-folder:16
  hfs-rmov:16
  hfs-ejec:16
  hfs-burn:16
  hfs-ftrh:16
  hfs-abdg:16)
# The application's icon in the sizes that desktops look for, in pixels; the small ones are drawn anew.
set(TARNVALE_ICON com.tarnvale.Tarnvale)
set(TARNVALE_ICON_SIZES 16:${TARNVALE_ICON}_16 22:${TARNVALE_ICON}_24 24:${TARNVALE_ICON}_24
  32:${TARNVALE_ICON} 48:${TARNVALE_ICON} 64:${TARNVALE_ICON} 128:${TARNVALE_ICON}
  256:${TARNVALE_ICON})

set(pictures_from ${CMAKE_SOURCE_DIR}/resources/pictures)
set(pictures_share ${CMAKE_BINARY_DIR}/share)

# Adds a PNG of PIXELS by PIXELS to rendered_pictures.
function(tarnvale_render name pixels output)
  add_custom_command(OUTPUT ${output} VERBATIM
    COMMAND ${RSVG_CONVERT} -w ${pixels} -h ${pixels} -o ${output} ${pictures_from}/${name}.svg
    DEPENDS ${pictures_from}/${name}.svg COMMENT "Rendering ${name} at ${pixels}")
  set(rendered_pictures ${rendered_pictures} ${output} PARENT_SCOPE)
endfunction()

function(tarnvale_icon_folder pixels variable)
  set(folder ${pictures_share}/icons/hicolor/${pixels}x${pixels}/apps)
  file(MAKE_DIRECTORY ${folder})
  set(${variable} ${folder} PARENT_SCOPE)
endfunction()

function(tarnvale_list_pictures variable)
  list(TRANSFORM TARNVALE_PICTURES REPLACE ":.*" ".svg" OUTPUT_VARIABLE names)
  list(SORT names)
  set(${variable} ${names} PARENT_SCOPE)
endfunction()

# Programs in the build tree find texts and pictures beside themselves, as they do installed. The
# texts are links, so that a changed one counts without a build.
if(IS_SYMLINK ${pictures_share}/tarnvale)
  file(REMOVE ${pictures_share}/tarnvale)
endif()
file(MAKE_DIRECTORY ${pictures_share}/tarnvale/images)
file(GLOB languages CONFIGURE_DEPENDS LIST_DIRECTORIES true ${CMAKE_SOURCE_DIR}/resources/*.lproj)
foreach(language ${languages})
  get_filename_component(name ${language} NAME)
  file(CREATE_LINK ${language} ${pictures_share}/tarnvale/${name} SYMBOLIC)
endforeach()

file(GLOB drawn CONFIGURE_DEPENDS RELATIVE ${pictures_from} ${pictures_from}/*.svg)
tarnvale_list_pictures(listed)
if(NOT drawn STREQUAL listed)
  message(FATAL_ERROR "resources/pictures and cmake/Pictures.cmake differ:\n${drawn}\n${listed}")
endif()

if(TARNVALE_WITH_DESKTOP)  # who shows them
  foreach(picture ${TARNVALE_PICTURES})
    string(REPLACE ":" ";" picture ${picture})
    list(GET picture 0 name)
    list(GET picture 1 points)
    math(EXPR double "${points} * 2")
    tarnvale_render(${name} ${points} ${pictures_share}/tarnvale/images/${name}.png)
    tarnvale_render(${name} ${double} ${pictures_share}/tarnvale/images/${name}@2x.png)
  endforeach()
  foreach(icon ${TARNVALE_ICON_SIZES})
    string(REPLACE ":" ";" icon ${icon})
    list(GET icon 0 pixels)
    list(GET icon 1 name)
    tarnvale_icon_folder(${pixels} folder)
    tarnvale_render(${name} ${pixels} ${folder}/${TARNVALE_ICON}.png)
  endforeach()
endif()
add_custom_target(tarnvale-pictures ALL DEPENDS ${rendered_pictures})

# Who shows pictures is built with them; the targets come into being later than this file.
function(tarnvale_pictures_before_their_programs)
  foreach(target tarnvale-tray tarnvale-settings test_pictures)
    if(TARGET ${target})
      add_dependencies(${target} tarnvale-pictures)
    endif()
  endforeach()
endfunction()
cmake_language(DEFER DIRECTORY ${CMAKE_SOURCE_DIR} CALL tarnvale_pictures_before_their_programs)
