# The tests drive the real simulator process over its pseudo-terminal.
add_dependencies(${exe_name} siusim)
target_compile_definitions(${exe_name} PRIVATE SIUSIM_EXE="$<TARGET_FILE:siusim>")
# The control client the tools share is tested on its own as well.
target_link_libraries(${exe_name} PRIVATE siu_control_client)
