# Installing: the plug-in's directory with the module, the icons, the skin parts and the German
# catalogue; and CPack's settings, with which packaging/package makes of it a package for opkg.
#
# KELVARO_PLUGIN_DIRECTORY      the plug-in's directory, below the installation prefix
# KELVARO_PACKAGE_ARCHITECTURE  what the image's feed calls the receiver's architecture; opkg
#                               installs only what /etc/opkg/arch.conf of the receiver names; empty:
#                               by the processor built for
# KELVARO_PACKAGE_REVISION      counts the packages of one version of the module, as recipes do

set(KELVARO_PLUGIN_DIRECTORY lib/enigma2/python/Plugins/SystemPlugins/ZIRKPanel CACHE STRING
    "The plug-in's directory, below the installation prefix")

# The catalogue. A build without gettext is fine as long as nobody installs it.
set(catalogue "${CMAKE_BINARY_DIR}/de.mo")
find_program(KELVARO_MSGFMT msgfmt DOC "Compiles the catalogue; part of gettext")
mark_as_advanced(KELVARO_MSGFMT)
if(KELVARO_MSGFMT)
  # Little-endian on every machine: the interpreter reads both orders, and the bytes stay the same.
  add_custom_command(
    OUTPUT "${catalogue}"
    COMMAND "${KELVARO_MSGFMT}" --check-format --endianness=little "--output-file=${catalogue}"
            "${CMAKE_CURRENT_SOURCE_DIR}/plugin/po/de.po"
    DEPENDS plugin/po/de.po VERBATIM)
  add_custom_target(catalogue ALL DEPENDS "${catalogue}")
else()
  install(CODE "message(FATAL_ERROR \"The catalogue needs msgfmt: install gettext, then configure \
and build again.\")")
endif()

set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
install(TARGETS Kelvaro LIBRARY DESTINATION "${KELVARO_PLUGIN_DIRECTORY}")
install(FILES plugin/pictures/update_normal.png plugin/pictures/update_info.png
              plugin/pictures/update_urgent.png
        DESTINATION "${KELVARO_PLUGIN_DIRECTORY}/pictures")
# One skin part for each width of the picture. CMake fills in the numbers itself, as the simulator
# does (plugin_files.py): so a build for a receiver needs no Python.
file(READ plugin/skin/skin.xml.in skin)
string(REGEX MATCHALL "@[0-9]+@" numbers "${skin}")
foreach(width 1280 1920)
  foreach(number ${numbers})
    string(REPLACE "@" "" number "${number}")
    math(EXPR ${number} "${number} * ${width} / 1280")
  endforeach()
  configure_file(plugin/skin/skin.xml.in skin_${width}.xml @ONLY)
  install(FILES "${CMAKE_CURRENT_BINARY_DIR}/skin_${width}.xml"
          DESTINATION "${KELVARO_PLUGIN_DIRECTORY}")
endforeach()
install(FILES "${catalogue}" DESTINATION "${KELVARO_PLUGIN_DIRECTORY}/locale/de/LC_MESSAGES"
        RENAME Kelvaro.mo)

set(KELVARO_PACKAGE_ARCHITECTURE "" CACHE STRING
    "What the image's feed calls the receiver's architecture; empty: by the processor built for")
if(KELVARO_PACKAGE_ARCHITECTURE)
  set(architecture "${KELVARO_PACKAGE_ARCHITECTURE}")
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^mips")
  set(architecture mips32el)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
  # ARM feeds are named after the processor that the image is tuned for, this being the usual one.
  set(architecture cortexa15hf-neon-vfpv4)
else()
  set(architecture "${CMAKE_SYSTEM_PROCESSOR}")
endif()
set(KELVARO_PACKAGE_REVISION r0 CACHE STRING "Counts the packages of one version of the module")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kelvaro)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "News and software updates for the receiver's Enigma2 screen")
set(CPACK_PACKAGE_CONTACT "Kelvaro developers")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
# With its debug information in a file of its own the module is packed to the byte as it was tested.
if(NOT KELVARO_SEPARATE_DEBUG)
  set(CPACK_STRIP_FILES ON)
endif()
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS ${CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS})
set(CPACK_DEBIAN_FILE_NAME
    "${CPACK_PACKAGE_NAME}_${PROJECT_VERSION}-${KELVARO_PACKAGE_REVISION}_${architecture}.ipk")
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE "${architecture}")
set(CPACK_DEBIAN_PACKAGE_RELEASE "${KELVARO_PACKAGE_REVISION}")
# Joined to the project's own description, which is the first line.
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
    "The module Kelvaro of the plug-in ZIRKPanel, with its icons, its skin parts for 1280 by 720 \
and 1920 by 1080 pixels, and its German texts.")
set(CPACK_DEBIAN_PACKAGE_SECTION extra)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# The interpreter's standard modules as image feeds split and name them, after what the module
# imports: os (core), xml.dom (xml), cPickle (pickle), urllib2 (netclient). Image maintainers adapt
# the names to their feed; the C and C++ libraries are in every image.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "python-core, python-netclient, python-pickle, python-xml")
# opkg of every age reads gzip members; newer compressions need builds of it that have them.
set(CPACK_DEBIAN_COMPRESSION_TYPE gzip)
include(CPack)
