# mlx_warnings: linked privately, so that no consumer inherits the flags.
# Panels' cross compilers may be too old for some.
set(mlx_since_gcc_7
    "$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_GREATER_EQUAL:$<CXX_COMPILER_VERSION>,7>>")
add_library(mlx_warnings INTERFACE)
target_compile_options(mlx_warnings INTERFACE
    -Wall -Wextra -Wpedantic $<${mlx_since_gcc_7}:-Wshadow=local> -Wconversion -Wno-sign-conversion -Wnon-virtual-dtor
    -Woverloaded-virtual -Wcast-align -Wformat=2
    $<$<BOOL:${MLX_WERROR}>:-Werror>)
