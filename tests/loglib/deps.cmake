# The tests load the real Log.so, as the driver does.
add_dependencies(${exe_name} Log)
target_compile_definitions(${exe_name} PRIVATE LOGSO_PATH="$<TARGET_FILE:Log>")
# The tests read the log library's own header from the source root.
target_include_directories(${exe_name} PRIVATE ${CMAKE_SOURCE_DIR})
