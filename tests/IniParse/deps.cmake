target_link_libraries(${exe_name} PRIVATE siu_iniparse)
