# zv_interpreter_sanitizer_env(<list variable>): appends to the list the
# environment that an uninstrumented interpreter (php, java) needs to load
# this build's library in a sanitizer build: the ASan runtime loaded first,
# and no leak check, since the interpreter never frees all it allocates.
function(zv_interpreter_sanitizer_env var)
  if(ZV_SANITIZE)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libasan.so
      OUTPUT_VARIABLE asan_runtime OUTPUT_STRIP_TRAILING_WHITESPACE)
    set(${var} ${${var}} "LD_PRELOAD=${asan_runtime}" "ASAN_OPTIONS=halt_on_error=1:detect_leaks=0" PARENT_SCOPE)
  endif()
endfunction()
