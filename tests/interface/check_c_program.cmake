# Builds a C program against the public header alone (strict C99, warnings
# fatal), links it to the shared object and runs it.
#   CC, HEADER_DIR, SOURCE, LIB (the shared object), OUT_DIR, FLAGS (optional)
file(MAKE_DIRECTORY ${OUT_DIR})
get_filename_component(lib_dir ${LIB} DIRECTORY)
get_filename_component(lib_name ${LIB} NAME)
separate_arguments(extra UNIX_COMMAND "${FLAGS}")
execute_process(
  COMMAND ${CC} -std=c99 -Wall -Werror -pedantic ${extra} -I${HEADER_DIR} ${SOURCE}
          -o ${OUT_DIR}/public_header_program -L${lib_dir} -l:${lib_name} -Wl,-rpath,${lib_dir}
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "compiling against the public header failed:\n${out}${err}")
endif()
execute_process(COMMAND ${OUT_DIR}/public_header_program
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "the program failed (${rc}):\n${out}${err}")
endif()
message(STATUS "${out}")
