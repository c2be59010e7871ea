# Resources of the editor, compiled into Ple. The program initialises them by
# name: qInitResources_editor, qInitResources_style, qInitResources_textedit.
#
#  editor   :/editor/icons/*.svg and :/editor/images/*.png (ours, both drawn as SVG),
#           the two application fonts at :/editor/fonts/Sarala-Regular.ttf and
#           :/editor/fonts/Sarala-Bold.ttf, whose files are DejaVu Sans and DejaVu Sans
#           Bold of the system, and DejaVu Sans Mono (regular and bold) of the system.
#  style    :qdarkstyle/style.qss, the dark stylesheet of the system's qdarkstyle
#           package, with its images at :/qss_icons/dark/rc/... where the
#           stylesheet looks for them. Without the package the resource is empty
#           and the editor runs unstyled.
#  textedit :/textedit/icons/*.svg for the comment editor.
#
# editor.qrc and style.qrc are generated here, naming the system's files by
# absolute path, so that nothing of those packages is copied into the sources.

set(ple_res_src ${CMAKE_CURRENT_SOURCE_DIR}/resources)
set(ple_res_bin ${CMAKE_CURRENT_BINARY_DIR}/resources)
file(MAKE_DIRECTORY ${ple_res_bin})

# Writes a generated .qrc only when its text changed, so that rcc doesn't rerun.
function(ple_write_qrc path text)
  file(WRITE ${path}.tmp "${text}")
  configure_file(${path}.tmp ${path} COPYONLY)
  file(REMOVE ${path}.tmp)
endfunction()

find_file(SCINTARI_FONT_REGULAR DejaVuSans.ttf
  PATHS /usr/share/fonts/truetype/dejavu NO_DEFAULT_PATH)
find_file(SCINTARI_FONT_BOLD DejaVuSans-Bold.ttf
  PATHS /usr/share/fonts/truetype/dejavu NO_DEFAULT_PATH)
find_path(SCINTARI_QDARKSTYLE_DIR darkstyle.qss
  PATHS /usr/lib/python3/dist-packages/qdarkstyle/dark NO_DEFAULT_PATH)

# editor.qrc
set(qrc "<!DOCTYPE RCC>\n<RCC version=\"1.0\">\n  <qresource prefix=\"editor\">\n")
file(GLOB editor_icons RELATIVE ${ple_res_src}/editor CONFIGURE_DEPENDS ${ple_res_src}/editor/icons/*.svg)
foreach(icon IN LISTS editor_icons)
  string(APPEND qrc "    <file alias=\"${icon}\">${ple_res_src}/editor/${icon}</file>\n")
endforeach()
# The main window's pictures (ours, drawn as SVG) under the names the window asks for,
# :/editor/images/<name>.png; the image reader recognises SVG by content.
file(GLOB editor_images RELATIVE ${ple_res_src}/editor CONFIGURE_DEPENDS ${ple_res_src}/editor/images/*.svg)
foreach(image IN LISTS editor_images)
  string(REGEX REPLACE "\\.svg$" ".png" alias "${image}")
  string(APPEND qrc "    <file alias=\"${alias}\">${ple_res_src}/editor/${image}</file>\n")
endforeach()
if(SCINTARI_FONT_REGULAR AND SCINTARI_FONT_BOLD)
  string(APPEND qrc "    <file alias=\"fonts/Sarala-Regular.ttf\">${SCINTARI_FONT_REGULAR}</file>\n")
  string(APPEND qrc "    <file alias=\"fonts/Sarala-Bold.ttf\">${SCINTARI_FONT_BOLD}</file>\n")
else()
  message(WARNING "fonts-dejavu-core not found: the editor's application fonts are left out")
endif()
# The fixed-width fonts of the main window.
find_file(SCINTARI_FONT_MONO DejaVuSansMono.ttf
  PATHS /usr/share/fonts/truetype/dejavu NO_DEFAULT_PATH)
find_file(SCINTARI_FONT_MONO_BOLD DejaVuSansMono-Bold.ttf
  PATHS /usr/share/fonts/truetype/dejavu NO_DEFAULT_PATH)
if(SCINTARI_FONT_MONO AND SCINTARI_FONT_MONO_BOLD)
  string(APPEND qrc "    <file alias=\"fonts/DejaVuSansMono.ttf\">${SCINTARI_FONT_MONO}</file>\n")
  string(APPEND qrc "    <file alias=\"fonts/DejaVuSansMono-Bold.ttf\">${SCINTARI_FONT_MONO_BOLD}</file>\n")
endif()
string(APPEND qrc "  </qresource>\n</RCC>\n")
ple_write_qrc(${ple_res_bin}/editor.qrc "${qrc}")

# style.qrc: the images as listed by the package's own .qrc.
set(qrc "<!DOCTYPE RCC>\n<RCC version=\"1.0\">\n")
if(SCINTARI_QDARKSTYLE_DIR AND EXISTS ${SCINTARI_QDARKSTYLE_DIR}/darkstyle.qrc)
  file(STRINGS ${SCINTARI_QDARKSTYLE_DIR}/darkstyle.qrc style_lines REGEX "<file>rc/")
  string(APPEND qrc "  <qresource prefix=\"qss_icons/dark\">\n")
  foreach(line IN LISTS style_lines)
    string(REGEX REPLACE ".*<file>(.*)</file>.*" "\\1" image "${line}")
    string(APPEND qrc "    <file alias=\"${image}\">${SCINTARI_QDARKSTYLE_DIR}/${image}</file>\n")
  endforeach()
  string(APPEND qrc "  </qresource>\n  <qresource prefix=\"qdarkstyle\">\n")
  string(APPEND qrc "    <file alias=\"style.qss\">${SCINTARI_QDARKSTYLE_DIR}/darkstyle.qss</file>\n")
  string(APPEND qrc "  </qresource>\n")
else()
  message(WARNING "python3-qdarkstyle not found: the editor will run unstyled")
endif()
string(APPEND qrc "</RCC>\n")
ple_write_qrc(${ple_res_bin}/style.qrc "${qrc}")

qt5_add_resources(ple_rcc_sources
  ${ple_res_bin}/editor.qrc
  ${ple_res_bin}/style.qrc
  ${ple_res_src}/textedit.qrc)
target_sources(Ple PRIVATE ${ple_rcc_sources})
