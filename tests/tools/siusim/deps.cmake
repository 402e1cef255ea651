# The tests drive the real simulator process over its pseudo-terminal.
add_dependencies(${exe_name} siusim)
target_compile_definitions(${exe_name} PRIVATE SIUSIM_EXE="$<TARGET_FILE:siusim>")
