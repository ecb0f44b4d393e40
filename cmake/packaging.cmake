# Debian packages (make deb), one per install component:
#   libzelvanclient1     runtime      the shared library, its license and notes
#   libzelvanclient-dev  development  headers, .pc, CMake package, libzelvanclient(3)
#   zelvan-tools         tools        zelvan-txn, the simulator, the certificate
#                                     generator, zelvan-session-key and their
#                                     manual pages
# dpkg-shlibdeps works out what the binaries need (libc, libstdc++, libssl3).
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zelvanclient)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "libzelvanclient")
set(CPACK_PACKAGE_CONTACT "libzelvanclient maintainers <zelvanclient@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Client library of the Zelvan card-payment gateway")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_COMPONENTS_ALL runtime development tools)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
# The tools link the library being packaged: dpkg-shlibdeps finds it here.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR})

set(ZV_DEB_EXACT "(= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libzelvanclient${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
  "Client library of the Zelvan card-payment gateway
Connects a merchant application to the Zelvan gateway over TLS with a
client certificate, fails over between servers, resumes TLS sessions
across processes and masks card data after every exchange.")
# ldconfig runs after the library is installed or removed.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_GENERATE_SHLIBS ON)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libzelvanclient-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
# The SSL classes' headers include OpenSSL's, and the .pc file lists
# OpenSSL for static linking: both need OpenSSL's development files.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "libzelvanclient${PROJECT_VERSION_MAJOR} ${ZV_DEB_EXACT}, libssl-dev (>= 3)")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
  "Development files of libzelvanclient
Headers of the C API and of the object library, the pkg-config file, the
CMake package zelvanclient and the manual page zelvanclient(3).")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME zelvan-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libzelvanclient${PROJECT_VERSION_MAJOR} ${ZV_DEB_EXACT}")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION
  "Command-line client and test gateway for libzelvanclient
zelvan-txn runs one transaction from the shell; zelvan-gateway-sim plays
the gateway on 127.0.0.1 and zelvan-certgen writes test certificates for
it; zelvan-session-key shows or removes a certificate's TLS session store.")

include(CPack)
