if(RASTREL_SANITIZE)
  add_compile_options(-fsanitize=${RASTREL_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${RASTREL_SANITIZE})
endif()
