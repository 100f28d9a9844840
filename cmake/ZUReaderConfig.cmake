# find_package(ZUReader) gives the imported target ZUReader::zureader: the shared library with its
# public headers. The library brings its own dependencies along, so nothing else is needed here.
include(${CMAKE_CURRENT_LIST_DIR}/ZUReaderTargets.cmake)
