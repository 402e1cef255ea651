target_link_libraries(${exe_name} PRIVATE siu_common)
# Capturing stand-ins for the log library, one per set of entry points the
# binding must cope with. They are kept out of lib/ so that nothing loads them
# as the real Log.so; the tests link them into a temporary module directory.
set(log_standin_source ${CMAKE_CURRENT_SOURCE_DIR}/common/standins/LogStandin.c)
set(log_standin_dir ${CMAKE_BINARY_DIR}/tests/standins)
foreach(variant full old sessions)
  add_library(log_standin_${variant} MODULE ${log_standin_source})
  set_target_properties(log_standin_${variant} PROPERTIES
    LIBRARY_OUTPUT_DIRECTORY ${log_standin_dir}
    C_VISIBILITY_PRESET hidden)
  target_link_libraries(log_standin_${variant} PRIVATE siu_warnings)
  add_dependencies(${exe_name} log_standin_${variant})
  string(TOUPPER ${variant} upper)
  target_compile_definitions(${exe_name} PRIVATE
    LOG_STANDIN_${upper}="$<TARGET_FILE:log_standin_${variant}>")
endforeach()
# full: every entry point; old: only "add" and "logBuffer"; sessions: the
# session interface without the two-column writers and without compression.
target_compile_definitions(log_standin_full PRIVATE
  STANDIN_OLD STANDIN_SESSIONS STANDIN_COLUMNS STANDIN_COMPRESSION)
target_compile_definitions(log_standin_old PRIVATE STANDIN_OLD)
target_compile_definitions(log_standin_sessions PRIVATE STANDIN_SESSIONS)
