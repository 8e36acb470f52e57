# Compile options shared by every target: the interface library velmo_options.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

add_library(velmo_options INTERFACE)
target_compile_options(velmo_options INTERFACE -Wall -Wextra -fno-semantic-interposition)
if(VELMO_WERROR)
  target_compile_options(velmo_options INTERFACE -Werror)
endif()
if(VELMO_SANITIZE STREQUAL "address")
  # The toolkit's path casts trip the vptr check.
  target_compile_options(velmo_options INTERFACE -fsanitize=address,undefined -fno-sanitize=vptr
                         -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  target_link_options(velmo_options INTERFACE -fsanitize=address,undefined)
elseif(VELMO_SANITIZE STREQUAL "thread")
  target_compile_options(velmo_options INTERFACE -fsanitize=thread -fno-omit-frame-pointer)
  target_link_options(velmo_options INTERFACE -fsanitize=thread)
elseif(VELMO_SANITIZE STREQUAL "fuzzer")
  target_compile_options(velmo_options INTERFACE -fsanitize=fuzzer-no-link,address,undefined
                         -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  target_link_options(velmo_options INTERFACE -fsanitize=address,undefined)
elseif(NOT VELMO_SANITIZE STREQUAL "")
  message(FATAL_ERROR "VELMO_SANITIZE is '${VELMO_SANITIZE}'; it takes address, thread, fuzzer or nothing")
endif()
