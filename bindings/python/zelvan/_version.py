"""The package version: the version of libzelvanclient it was released with.

The tests check that it equals ZELVANCLIENT_VERSION in zelvanclient.h,
where the library's version is defined.
"""

__version__ = "1.0.0"
