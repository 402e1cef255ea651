# The exchanges are also run against the board simulator over a pty.
add_dependencies(${exe_name} siusim)
target_compile_definitions(${exe_name} PRIVATE SIUSIM_EXE="$<TARGET_FILE:siusim>")
