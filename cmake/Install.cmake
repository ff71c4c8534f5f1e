# Installing: the plug-in's directory with the module, the icons, the skin parts and the
# catalogues.

set(KELVARO_PLUGIN_DIRECTORY lib/enigma2/python/Plugins/SystemPlugins/ZIRKPanel CACHE STRING
    "The plug-in's directory, below the installation prefix")
set(KELVARO_FILES "pictures skins texts" CACHE STRING
    "What is installed beside the module, of pictures, skins and texts")
set(KELVARO_LANGUAGES "" CACHE STRING
    "The languages of the texts, such as \"de fr\", named as in plugin/po; empty: all")
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

# A build without gettext is fine as long as nobody installs the catalogues.
if("texts" IN_LIST files)
  separate_arguments(languages UNIX_COMMAND "${KELVARO_LANGUAGES}")
  if(NOT languages)
    file(GLOB languages RELATIVE "${CMAKE_CURRENT_SOURCE_DIR}/plugin/po" plugin/po/*.po)
    string(REPLACE ".po" "" languages "${languages}")
  endif()
  find_program(KELVARO_MSGFMT msgfmt DOC "Compiles the catalogues; part of gettext")
  mark_as_advanced(KELVARO_MSGFMT)
  if(NOT KELVARO_MSGFMT)
    install(CODE "message(FATAL_ERROR \"The texts need msgfmt: install gettext, then configure \
and build again.\")")
    return()
  endif()
  foreach(language ${languages})
    set(source "${CMAKE_CURRENT_SOURCE_DIR}/plugin/po/${language}.po")
    set(catalogue "${CMAKE_BINARY_DIR}/${language}.mo")
    if(NOT EXISTS "${source}")
      message(FATAL_ERROR "KELVARO_LANGUAGES names ${language}, which is not in plugin/po.")
    endif()
    # Little-endian on every machine: the interpreter reads both orders; the bytes stay the same.
    add_custom_command(
      OUTPUT "${catalogue}"
      COMMAND "${KELVARO_MSGFMT}" --check-format --endianness=little "--output-file=${catalogue}"
              "${source}"
      DEPENDS "${source}" VERBATIM)
    list(APPEND catalogues "${catalogue}")
    install(FILES "${catalogue}" RENAME Kelvaro.mo
            DESTINATION "${KELVARO_PLUGIN_DIRECTORY}/locale/${language}/LC_MESSAGES")
  endforeach()
  add_custom_target(catalogues ALL DEPENDS ${catalogues})
endif()
