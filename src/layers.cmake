# The library's layers, lowest first, with the folders and sources of each.
# The main build and the fuzz build both make their targets from these
# lists, so a new source file is added here, to its layer's list, once.
#
#   core    object + containers (each uses the other: strings hash into
#           tables, tables hold strings)
#   codec   -> core
#   net     -> core
#   ssl     -> net, core          (the only layer that links OpenSSL)
#   client  -> ssl, net, core     (the C API and the transaction engine)
#
# A layer's target sees the headers of its own folders and of the layers it
# depends on, nothing else: a lower layer that includes a higher layer's
# header fails to compile with "No such file or directory".
set(ZV_SOURCE_ROOT ${CMAKE_CURRENT_LIST_DIR})
set(ZV_LAYERS core codec net ssl client)

set(ZV_LAYER_core_DIRS object containers)
set(ZV_LAYER_core_DEPENDS)
set(ZV_LAYER_core_SOURCES
  object/BBoolean.cpp object/BInteger.cpp object/BMemoryTable.cpp object/BObject.cpp
  object/BPlatform.cpp object/BPointer.cpp object/BString.cpp object/BTokeniser.cpp
  object/Deadline.cpp
  containers/BHashTable.cpp containers/BLinkMap.cpp containers/BLinkMapEntry.cpp
  containers/BMap.cpp containers/BVector.cpp)

set(ZV_LAYER_codec_DIRS codec)
set(ZV_LAYER_codec_DEPENDS core)
set(ZV_LAYER_codec_SOURCES
  codec/BBase64Encoder.cpp codec/BByteArray.cpp codec/BSimpleEncoder.cpp codec/BURLCodec.cpp
  codec/codecTables.cpp codec/globalEncoders.cpp)

set(ZV_LAYER_net_DIRS net)
set(ZV_LAYER_net_DEPENDS core)
set(ZV_LAYER_net_SOURCES
  net/BNetObject.cpp net/BServerSocket.cpp net/BSocket.cpp net/BSocketAddress.cpp
  net/BSocketLibrary.cpp net/hostLookup.cpp net/localEnd.cpp
  net/OwnedDescriptor.cpp net/ProxySetting.cpp net/ServerAddress.cpp net/addressConnect.cpp
  net/proxyTunnel.cpp)

set(ZV_LAYER_ssl_DIRS ssl)
set(ZV_LAYER_ssl_DEPENDS net core)
set(ZV_LAYER_ssl_SOURCES
  ssl/BSSLContext.cpp ssl/StoreLock.cpp ssl/certificateCache.cpp ssl/sessionStore.cpp ssl/sslConnection.cpp ssl/sslPool.cpp)

set(ZV_LAYER_client_DIRS client)
set(ZV_LAYER_client_DEPENDS ssl net core)
set(ZV_LAYER_client_SOURCES
  client/EngineStatus.cpp client/Exchange.cpp client/TransactionRecord.cpp
  client/TransactionRequest.cpp
  client/bundleFields.cpp client/cardData.cpp
  client/clientPreparation.cpp client/debugLog.cpp client/preSendChecks.cpp
  client/replyMerge.cpp client/requestChecks.cpp client/responseReader.cpp
  client/serverList.cpp client/transactionExchange.cpp client/transactionExecution.cpp
  client/transactionEvents.cpp client/transactionOutcome.cpp
  client/zelvanclient.cpp client/zelvanclientVersion.cpp)

# zv_layer_dirs(LAYER VAR): sets VAR to the absolute folders of LAYER alone.
function(zv_layer_dirs layer var)
  list(TRANSFORM ZV_LAYER_${layer}_DIRS PREPEND ${ZV_SOURCE_ROOT}/ OUTPUT_VARIABLE dirs)
  set(${var} ${dirs} PARENT_SCOPE)
endfunction()

# The public headers live together in include/zelvan, where applications
# find them. Each belongs to the layer whose folder holds its class's
# source (BString.h to object/BString.cpp, so to core); a public header
# without such a source is a configuration error, so that no header sits
# outside the layers. zv_public_headers(LAYER VAR) sets VAR to the public
# headers of LAYER alone.
get_filename_component(ZV_PUBLIC_HEADER_DIR ${ZV_SOURCE_ROOT}/../include/zelvan ABSOLUTE)
file(GLOB ZV_PUBLIC_HEADERS CONFIGURE_DEPENDS ${ZV_PUBLIC_HEADER_DIR}/*.h)
function(zv_public_headers layer var)
  set(headers)
  foreach(header ${ZV_PUBLIC_HEADERS})
    get_filename_component(class ${header} NAME_WE)
    foreach(source ${ZV_LAYER_${layer}_SOURCES})
      get_filename_component(source_class ${source} NAME_WE)
      if(class STREQUAL source_class)
        list(APPEND headers ${header})
      endif()
    endforeach()
  endforeach()
  set(${var} ${headers} PARENT_SCOPE)
endfunction()
set(zv_placed)
foreach(layer ${ZV_LAYERS})
  zv_public_headers(${layer} headers)
  list(APPEND zv_placed ${headers})
endforeach()
foreach(header ${ZV_PUBLIC_HEADERS})
  if(NOT header IN_LIST zv_placed)
    message(FATAL_ERROR "${header}: no layer has a source of the same name")
  endif()
endforeach()

# zv_add_layers(PREFIX [OPTIONS...]): one OBJECT library PREFIX_<layer> per
# layer, compiled with OPTIONS besides the project's. A layer's folders are
# PUBLIC include directories, and each layer links the layers it depends on
# PUBLIC, so a layer and whoever links it see those folders and the ones
# below, never the ones above. The layer's public headers are seen through
# a folder of links made in the build tree (PREFIX-headers/LAYER), so that
# include/zelvan, which holds every layer's, does not open a way upwards.
# Linking an object library to another passes on only these usage
# requirements, not objects: a program or library takes the objects of
# every layer by linking them all (see ZV_INTERNALS).
function(zv_add_layers prefix)
  foreach(layer ${ZV_LAYERS})
    list(TRANSFORM ZV_LAYER_${layer}_SOURCES PREPEND ${ZV_SOURCE_ROOT}/ OUTPUT_VARIABLE sources)
    zv_layer_dirs(${layer} dirs)
    set(view ${CMAKE_BINARY_DIR}/${prefix}-headers/${layer})
    file(REMOVE_RECURSE ${view})
    file(MAKE_DIRECTORY ${view})
    zv_public_headers(${layer} headers)
    foreach(header ${headers})
      get_filename_component(name ${header} NAME)
      file(CREATE_LINK ${header} ${view}/${name} SYMBOLIC)
    endforeach()
    set(target ${prefix}_${layer})
    add_library(${target} OBJECT ${sources})
    target_include_directories(${target} PUBLIC ${dirs} ${view})
    target_compile_options(${target} PRIVATE ${ARGN})
    foreach(below ${ZV_LAYER_${layer}_DEPENDS})
      target_link_libraries(${target} PUBLIC ${prefix}_${below})
    endforeach()
  endforeach()
  # The ssl layer's headers include OpenSSL's; the client reaches OpenSSL
  # through the ssl layer only.
  target_link_libraries(${prefix}_ssl PUBLIC OpenSSL::SSL OpenSSL::Crypto)
endfunction()
