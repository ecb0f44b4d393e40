# zv_add_simulator_test(<name> <command...>): a test that runs the command
# against gateway simulators of its own (tests/support/with_gateway_sim.py)
# with ZELVAN_LIBRARY naming this build's library. For the bindings, whose
# tests run in an uninstrumented runtime (java, node, php): in a sanitizer
# build the ASan runtime is loaded first, and leaks are not checked, since
# the interpreter never frees all it allocates.
find_package(Python3 REQUIRED COMPONENTS Interpreter)

function(zv_add_simulator_test name)
  set(env
    "PYTHONPATH=${PROJECT_SOURCE_DIR}/tests/support"
    "PYTHONDONTWRITEBYTECODE=1"
    "ZELVAN_LIBRARY=$<TARGET_FILE:zelvanclient>")
  if(ZV_SANITIZE)
    list(APPEND env "LD_PRELOAD=${ZV_ASAN_RUNTIME}" "ASAN_OPTIONS=halt_on_error=1:detect_leaks=0")
  endif()
  add_test(NAME ${name}
    COMMAND Python3::Interpreter ${PROJECT_SOURCE_DIR}/tests/support/with_gateway_sim.py
      $<TARGET_FILE:zelvan-gateway-sim> $<TARGET_FILE:zelvan-certgen> ${ARGN})
  set_tests_properties(${name} PROPERTIES TIMEOUT 300 ENVIRONMENT "${env}")
endfunction()
