target_link_libraries(${exe_name} PRIVATE siu_interface)
# The services log through the real Log.so and talk to the real simulator,
# started and controlled through the simulator tests' harness.
add_dependencies(${exe_name} Log siusim)
target_compile_definitions(${exe_name} PRIVATE SIUSIM_EXE="$<TARGET_FILE:siusim>")
