# Warnings are errors in every compiler. Targets with the property RASTREL_HOST derive from the image class as hosts
# do, overriding single overloads of a family. Code generation that results depend on stands here too.
add_library(rastrel_warnings INTERFACE)
target_compile_options(rastrel_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion -Wnon-virtual-dtor -Wold-style-cast
  $<$<NOT:$<BOOL:$<TARGET_PROPERTY:RASTREL_HOST>>>:-Woverloaded-virtual> -Werror)

# The same bytes on every build: no fused multiply-add where the source has two roundings.
add_library(rastrel_code_generation INTERFACE)
target_compile_options(rastrel_code_generation INTERFACE -ffp-contract=off)
