# The tests run the real siud with the real library (and Log.so) against the
# real simulator, and talk to it through a real WebSocket client.
add_dependencies(${exe_name} siud siusim NorvaSensorBoard Log)
target_link_libraries(${exe_name} PRIVATE siud_web)
target_compile_definitions(${exe_name} PRIVATE
  SIUD_EXE="$<TARGET_FILE:siud>"
  SIUCTL_EXE="$<TARGET_FILE:siuctl>"
  SIUSIM_EXE="$<TARGET_FILE:siusim>"
  SIU_LIBRARY="$<TARGET_FILE:NorvaSensorBoard>"
  LOGSO_PATH="$<TARGET_FILE:Log>")
