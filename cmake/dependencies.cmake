# The JPEG and EXR libraries, private to the image library.
if(MINGW AND NOT EXISTS "${RASTREL_WINDOWS_DEPS}/include/turbojpeg.h")
  message(FATAL_ERROR "No JPEG and EXR libraries for Windows in ${RASTREL_WINDOWS_DEPS}: run scripts/windows-deps.sh")
endif()
find_package(OpenEXR CONFIG REQUIRED)
find_package(JPEG REQUIRED)
find_path(TURBOJPEG_INCLUDE_DIR turbojpeg.h REQUIRED)
find_library(TURBOJPEG_LIBRARY NAMES turbojpeg REQUIRED)

add_library(rastrel_codec_libraries INTERFACE)
target_include_directories(rastrel_codec_libraries SYSTEM INTERFACE ${TURBOJPEG_INCLUDE_DIR} ${JPEG_INCLUDE_DIRS})
target_link_libraries(rastrel_codec_libraries INTERFACE OpenEXR::OpenEXR ${TURBOJPEG_LIBRARY})
if(NOT MINGW)   # the static TurboJPEG library holds all of libjpeg, the shared one hides it
  target_link_libraries(rastrel_codec_libraries INTERFACE JPEG::JPEG)
endif()
