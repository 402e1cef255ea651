# Runs the exchanges against the board simulator, started with the test helpers.
target_link_libraries(${bench_name} PRIVATE siu_test_support)
add_dependencies(${bench_name} siusim)
target_compile_definitions(${bench_name} PRIVATE SIUSIM_EXE="$<TARGET_FILE:siusim>")
# With every log level on, records go through the real log library.
add_dependencies(${bench_name} Log)
target_compile_definitions(${bench_name} PRIVATE LOG_LIBRARY="$<TARGET_FILE:Log>")
