# What scripts/build-deb.sh and scripts/dist.sh need to know about this
# build, written as shell assignments into package-info.sh of the build
# directory: the version (from zelvanclient.h), the licence (ZV_LICENSE),
# the maintainer of the Debian packages and the install layout.
#
# The Debian packages (make deb), one per install component:
#   libzelvanclient1     runtime      the shared library
#   libzelvanclient-dev  development  headers, .pc, CMake package, libzelvanclient(3)
#   zelvan-tools         tools        zelvan-txn, the simulator, the certificate
#                                     generator, zelvan-session-key and their
#                                     manual pages
# Their control fields are in scripts/deb/<package>.control.

# The one place that names who answers for the Debian packages; a
# distributor sets their own with -DZV_DEB_MAINTAINER="Name <address>" or
# make deb DEB_MAINTAINER="Name <address>".
set(ZV_DEB_MAINTAINER "libzelvanclient maintainers <maintainers@libzelvanclient.org>"
  CACHE STRING "Maintainer field of the Debian packages")

configure_file(${PROJECT_SOURCE_DIR}/cmake/package-info.sh.in ${PROJECT_BINARY_DIR}/package-info.sh @ONLY)
