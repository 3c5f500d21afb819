# Debian's clang-19, lld-19, llvm-19 and wasi-libc, with libc++-19-dev-wasm32, libc++abi-19-dev-wasm32 and
# libclang-rt-19-dev-wasm32.
set(CMAKE_SYSTEM_NAME Generic)
set(CMAKE_SYSTEM_PROCESSOR wasm32)
set(CMAKE_C_COMPILER clang-19)
set(CMAKE_CXX_COMPILER clang++-19)
set(CMAKE_C_COMPILER_TARGET wasm32-wasi)
set(CMAKE_CXX_COMPILER_TARGET wasm32-wasi)
set(CMAKE_AR llvm-ar-19)
set(CMAKE_RANLIB llvm-ranlib-19)
set(CMAKE_EXECUTABLE_SUFFIX .wasm)
# There is no unwinder: what is thrown ends the program.
set(CMAKE_CXX_FLAGS_INIT "-stdlib=libc++ -fcxx-exceptions -fexceptions -fignore-exceptions")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
