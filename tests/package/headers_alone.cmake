# Compiles every public header on its own, twice in one translation unit, with nothing but the
# public include folder on the path and warnings as errors: a host may include any one of them first.
# cmake -DCOMPILER=... -DINCLUDE_DIR=... -DWORK_DIR=... -P headers_alone.cmake
file(GLOB headers RELATIVE ${INCLUDE_DIR} ${INCLUDE_DIR}/zureader/*.h)
if(NOT headers)
  message(FATAL_ERROR "no public headers in ${INCLUDE_DIR}/zureader")
endif()
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
set(failed)
foreach(header IN LISTS headers)
  get_filename_component(name ${header} NAME_WE)
  # The second include shows the header guards itself.
  file(WRITE ${WORK_DIR}/${name}.cpp "#include <${header}>\n#include <${header}>\n")
  execute_process(
    COMMAND ${COMPILER} -std=c++17 -Wall -Wextra -Werror -I${INCLUDE_DIR}
            -c ${WORK_DIR}/${name}.cpp -o ${WORK_DIR}/${name}.o
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(result EQUAL 0)
    message(STATUS "${header}: compiles alone")
  else()
    message("${header} does not compile alone:\n${output}")
    list(APPEND failed ${header})
  endif()
endforeach()
if(failed)
  message(FATAL_ERROR "public headers that do not compile alone: ${failed}")
endif()
