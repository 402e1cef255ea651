# The tests load the real Log.so, as the driver does, and read its gzip files
# back with zlib.
find_package(ZLIB REQUIRED)
add_dependencies(${exe_name} Log)
target_compile_definitions(${exe_name} PRIVATE LOGSO_PATH="$<TARGET_FILE:Log>")
target_link_libraries(${exe_name} PRIVATE ZLIB::ZLIB)
