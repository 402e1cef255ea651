# The manager is driven through the exported functions that hold it.
target_link_libraries(${exe_name} PRIVATE siu_interface)
# The services log through the real Log.so, linked into each test's module
# directory.
add_dependencies(${exe_name} Log)
