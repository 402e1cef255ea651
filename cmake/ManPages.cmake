# Manual pages: man/<page>.in configured with the version, the date and the
# lists that come from the code's own tables (item names, result codes), so
# that the pages cannot drift from the library, then compressed as Debian
# ships them. The date honours SOURCE_DATE_EPOCH.
string(TIMESTAMP SIU_MAN_DATE "%Y-%m-%d" UTC)

# Item names of one group of device/ItemNames.def as a filled roff list.
function(siu_man_items group out)
  file(STRINGS ${CMAKE_SOURCE_DIR}/device/ItemNames.def lines REGEX "^SIU_${group}_ITEM\\(")
  list(TRANSFORM lines REPLACE "^SIU_${group}_ITEM\\(([A-Z0-9_]+)\\).*" "\\1")
  list(JOIN lines ", " text)
  set(${out} "${text}." PARENT_SCOPE)
endfunction()
foreach(group DOOR LOCK SENSOR POSITION CASSETTE INDICATOR)
  siu_man_items(${group} SIU_MAN_${group}_ITEMS)
endforeach()

# manager/ResultCodes.def as one sub-section per block: its title comment,
# then "value  name" lines.
file(STRINGS ${CMAKE_SOURCE_DIR}/manager/ResultCodes.def lines
     REGEX "^(/\\* [^.]* \\*/|SIU_RESULT(_TEXT)?\\()")
set(SIU_MAN_RESULT_CODES "")
set(open_block FALSE)
foreach(line ${lines})
  if(line MATCHES "^/\\* (.*) \\*/$")
    if(open_block)
      string(APPEND SIU_MAN_RESULT_CODES ".fi\n")
    endif()
    string(APPEND SIU_MAN_RESULT_CODES ".SS ${CMAKE_MATCH_1}\n.nf\n")
    set(open_block TRUE)
  elseif(line MATCHES "^SIU_RESULT(_TEXT)?\\(([A-Z0-9_]+), *(-?)([0-9]+)")
    set(sign "")
    if(CMAKE_MATCH_3)
      set(sign "\\-")
    endif()
    string(APPEND SIU_MAN_RESULT_CODES "${sign}${CMAKE_MATCH_4}\t${CMAKE_MATCH_2}\n")
  endif()
endforeach()
if(open_block)
  string(APPEND SIU_MAN_RESULT_CODES ".fi")
endif()

set(SIU_MAN_PAGES siuctl.1 siusim.1 NorvaSensorBoard.ini.5 NorvaSensorBoard.7)
if(TARGET siud)
  list(APPEND SIU_MAN_PAGES siud.8 siud-client.1)
endif()
set(SIU_MAN_OUTPUTS)
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/man)
foreach(page ${SIU_MAN_PAGES})
  configure_file(${CMAKE_SOURCE_DIR}/man/${page}.in ${CMAKE_BINARY_DIR}/man/${page} @ONLY)
  set(output ${CMAKE_BINARY_DIR}/man/${page}.gz)
  add_custom_command(OUTPUT ${output}
    COMMAND gzip -9nc ${CMAKE_BINARY_DIR}/man/${page} > ${output}
    DEPENDS ${CMAKE_BINARY_DIR}/man/${page} VERBATIM)
  list(APPEND SIU_MAN_OUTPUTS ${output})
  # The library's overview goes with the development files, the rest with
  # the tools: a runtime package carries nothing a second soname's package
  # would also carry.
  string(REGEX REPLACE ".*\\.([0-9])$" "\\1" section ${page})
  if(section STREQUAL "7")
    set(component dev)
  else()
    set(component tools)
  endif()
  install(FILES ${output} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT ${component})
endforeach()
add_custom_target(man_pages ALL DEPENDS ${SIU_MAN_OUTPUTS})
# Pages, item tables and result codes are read at configure time.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
  ${CMAKE_SOURCE_DIR}/device/ItemNames.def ${CMAKE_SOURCE_DIR}/manager/ResultCodes.def)
