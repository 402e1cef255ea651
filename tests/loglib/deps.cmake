# The tests load the real Log.so, as the driver does.
add_dependencies(${exe_name} Log)
target_compile_definitions(${exe_name} PRIVATE LOGSO_PATH="$<TARGET_FILE:Log>")
# The tests read the log library's own header from the source root.
target_include_directories(${exe_name} PRIVATE ${CMAKE_SOURCE_DIR})
# Log.so exports its twelve entry points and nothing else.
add_test(NAME LogSoExportsExactlyItsTwelveEntryPoints
  COMMAND ${CMAKE_COMMAND} -DLIB=$<TARGET_FILE:Log> -DEXPECTED=12
          "-DPATTERN=^(add|logBuffer|createLog|exitLog|writeToFile(Hex)?2?|(de)?compressFiles?)$"
          -P ${CMAKE_CURRENT_SOURCE_DIR}/interface/check_exports.cmake)
