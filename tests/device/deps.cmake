# Device log records are read back through the capturing stand-in of the log
# library that tests/common builds.
add_dependencies(${exe_name} log_standin_full)
target_compile_definitions(${exe_name} PRIVATE
  LOG_STANDIN_FULL="$<TARGET_FILE:log_standin_full>")
