# The public headers, installed under include/zelvan: the C API and the
# headers of the object library's classes that applications use, each
# complete on its own. Listed by name so that a new header stays internal
# until it is added here deliberately; tests/install compiles each one
# alone. The SSL classes are exported from the library but their headers
# are internal: they pull in OpenSSL's.
set(ZV_PUBLIC_HEADER_NAMES
  client/zelvanclient.h
  object/BObject.h object/BString.h object/BTokeniser.h object/BInteger.h
  object/BBoolean.h object/BPointer.h object/BMemoryTable.h object/BPlatform.h
  containers/BVector.h containers/BMap.h containers/BHashTable.h
  containers/BLinkMap.h containers/BLinkMapEntry.h
  codec/BURLCodec.h codec/BBase64Encoder.h codec/BSimpleEncoder.h codec/BByteArray.h
  net/BNetObject.h net/BSocketAddress.h net/BSocket.h net/BServerSocket.h
  net/BSocketLibrary.h)
set(ZV_PUBLIC_HEADERS)
foreach(name ${ZV_PUBLIC_HEADER_NAMES})
  list(APPEND ZV_PUBLIC_HEADERS ${PROJECT_SOURCE_DIR}/src/${name})
endforeach()
