if(RASTREL_SANITIZE)
  add_compile_options(-fsanitize=${RASTREL_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${RASTREL_SANITIZE})
endif()

# Fuzzers see which branches of the library an input takes.
if(RASTREL_BUILD_FUZZERS)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES Clang)
    message(FATAL_ERROR "The fuzzers need libFuzzer, which comes with clang++: use the preset linux-fuzz")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
