target_link_libraries(${exe_name} PRIVATE siu_transport)
# The transport's log records are read back through the capturing stand-in of
# the log library that tests/common builds.
add_dependencies(${exe_name} log_standin_full)
target_compile_definitions(${exe_name} PRIVATE
  LOG_STANDIN_FULL="$<TARGET_FILE:log_standin_full>")
# The exchanges are also run against the board simulator over a pty.
add_dependencies(${exe_name} siusim)
target_compile_definitions(${exe_name} PRIVATE SIUSIM_EXE="$<TARGET_FILE:siusim>")
# The tests name that harness from the source root.
target_include_directories(${exe_name} PRIVATE ${CMAKE_SOURCE_DIR})
