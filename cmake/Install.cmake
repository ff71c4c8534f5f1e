# Installing: the plug-in's directory with the module, the icons, the skin parts and the German
# catalogue.
#
# KELVARO_PLUGIN_DIRECTORY  the plug-in's directory, below the installation prefix
# KELVARO_FILES             what is installed beside the module, of pictures, skins and texts

set(KELVARO_PLUGIN_DIRECTORY lib/enigma2/python/Plugins/SystemPlugins/ZIRKPanel CACHE STRING
    "The plug-in's directory, below the installation prefix")
set(KELVARO_FILES "pictures skins texts" CACHE STRING
    "What is installed beside the module, of pictures, skins and texts")
separate_arguments(files UNIX_COMMAND "${KELVARO_FILES}")
foreach(kind ${files})
  if(NOT kind MATCHES "^(pictures|skins|texts)$")
    message(FATAL_ERROR "KELVARO_FILES names ${kind}: name pictures, skins, texts or nothing.")
  endif()
endforeach()

set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
install(TARGETS Kelvaro LIBRARY DESTINATION "${KELVARO_PLUGIN_DIRECTORY}")

if("pictures" IN_LIST files)
  install(FILES plugin/pictures/update_normal.png plugin/pictures/update_info.png
                plugin/pictures/update_urgent.png
          DESTINATION "${KELVARO_PLUGIN_DIRECTORY}/pictures")
endif()

if("skins" IN_LIST files)
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
endif()

# A build without gettext is fine as long as nobody installs the catalogue.
if("texts" IN_LIST files)
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
  install(FILES "${catalogue}" DESTINATION "${KELVARO_PLUGIN_DIRECTORY}/locale/de/LC_MESSAGES"
          RENAME Kelvaro.mo)
endif()
