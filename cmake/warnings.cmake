# mlx_warnings: linked privately, so that no consumer inherits the flags.
add_library(mlx_warnings INTERFACE)
target_compile_options(mlx_warnings INTERFACE
    -Wall -Wextra -Wpedantic $<$<CXX_COMPILER_ID:GNU>:-Wshadow=local> -Wconversion -Wno-sign-conversion -Wnon-virtual-dtor
    -Woverloaded-virtual -Wcast-align -Wformat=2
    $<$<BOOL:${MLX_WERROR}>:-Werror>)
