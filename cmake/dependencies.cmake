# The JPEG and EXR libraries, private to the image library.
find_package(OpenEXR CONFIG REQUIRED)
find_package(JPEG REQUIRED)
find_path(TURBOJPEG_INCLUDE_DIR turbojpeg.h REQUIRED)
find_library(TURBOJPEG_LIBRARY NAMES turbojpeg REQUIRED)

add_library(rastrel_codec_libraries INTERFACE)
target_link_libraries(rastrel_codec_libraries INTERFACE OpenEXR::OpenEXR JPEG::JPEG ${TURBOJPEG_LIBRARY})
target_include_directories(rastrel_codec_libraries SYSTEM INTERFACE ${TURBOJPEG_INCLUDE_DIR})
