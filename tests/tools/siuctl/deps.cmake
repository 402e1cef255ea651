# The tests run the real siuctl against the real library (with Log.so) and the
# real simulator, as a technician would.
add_dependencies(${exe_name} siuctl siusim NorvaSensorBoard Log)
target_compile_definitions(${exe_name} PRIVATE
  SIUCTL_EXE="$<TARGET_FILE:siuctl>"
  SIUSIM_EXE="$<TARGET_FILE:siusim>"
  SIU_LIBRARY="$<TARGET_FILE:NorvaSensorBoard>"
  LOGSO_PATH="$<TARGET_FILE:Log>"
  SIU_PRODUCT_VERSION="${SIU_PRODUCT_VERSION}")
