# For each layer, compiles one include of a header of every layer with that
# layer's include directories (the variable named after the layer, "|"
# between directories) and checks which ones are found.

# One header from each layer, and the layers each layer may use.
set(header_core BString.h)
set(header_codec BURLCodec.h)
set(header_net BSocket.h)
set(header_ssl BSSLContext.h)
set(header_client zelvanclient.h)
set(sees_core core)
set(sees_codec codec core)
set(sees_net net core)
set(sees_ssl ssl net core)
set(sees_client client ssl net core)

set(failures)
foreach(layer core codec net ssl client)
  string(REPLACE "|" ";" dirs "${${layer}}")
  list(TRANSFORM dirs PREPEND -I)
  foreach(other core codec net ssl client)
    set(probe ${WORK}/probe_${layer}_${other}.cpp)
    file(WRITE ${probe} "#include \"${header_${other}}\"\n")
    execute_process(COMMAND ${CXX} -std=c++17 -fsyntax-only ${dirs} ${probe}
      RESULT_VARIABLE status ERROR_VARIABLE errors OUTPUT_QUIET)
    file(REMOVE ${probe})
    list(FIND sees_${layer} ${other} seen)
    if(seen GREATER -1 AND NOT status EQUAL 0)
      list(APPEND failures "${layer} cannot include ${header_${other}}:\n${errors}")
    elseif(seen EQUAL -1 AND NOT errors MATCHES "No such file|file not found")
      list(APPEND failures "${layer} can include ${header_${other}} of the ${other} layer")
    endif()
  endforeach()
endforeach()
if(failures)
  string(REPLACE ";" "\n" failures "${failures}")
  message(FATAL_ERROR "${failures}")
endif()
