if(MINGW)
  # The two DLLs and the programs carry their runtime: nothing but the DLLs has to be shipped.
  add_link_options(-static)
  add_compile_definitions(_WIN32_WINNT=0x0601 WINVER=0x0601 __USE_MINGW_ANSI_STDIO=0)
  # GCC for Win64 does not align the stack to 32 bytes: spilled vectors must use unaligned moves.
  add_compile_options(-Wa,-muse-unaligned-vector-move)
endif()
