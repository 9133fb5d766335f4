# cmake -DCOMPILER=... -DINCLUDES=directory;... -DVISIBLE=header -DCLIMBING=header -P CheckIncludePath.cmake
list(TRANSFORM INCLUDES PREPEND -I)

function(compile header result output)
  execute_process(COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C
    ${COMPILER} -std=c++20 -fsyntax-only ${INCLUDES} -x c++ -include ${header} /dev/null
    WORKING_DIRECTORY / RESULT_VARIABLE code ERROR_VARIABLE text)
  set(${result} ${code} PARENT_SCOPE)
  set(${output} "${text}" PARENT_SCOPE)
endfunction()

compile(${VISIBLE} code text)
if(NOT code EQUAL 0)
  message(FATAL_ERROR "${VISIBLE} does not compile:\n${text}")
endif()
compile(${CLIMBING} code text)
if(code EQUAL 0)
  message(FATAL_ERROR "${CLIMBING} can be included from below")
endif()
if(NOT text MATCHES "${CLIMBING}(: No such file|' file not found)")
  message(FATAL_ERROR "${CLIMBING} was found, or failed for another reason:\n${text}")
endif()
