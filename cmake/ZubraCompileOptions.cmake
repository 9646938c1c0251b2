# Warning, sanitizer and coverage flags shared by every target of the project.
add_library(zubra_compile_options INTERFACE)
target_compile_options(zubra_compile_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Wcast-align
  -Woverloaded-virtual -Wimplicit-fallthrough)
if(ZUBRA_WERROR)
  target_compile_options(zubra_compile_options INTERFACE -Werror)
endif()
if(ZUBRA_SANITIZE)
  set(zubra_sanitize_flags -fsanitize=address,undefined -fno-sanitize-recover=all
      -fno-omit-frame-pointer)
  target_compile_options(zubra_compile_options INTERFACE ${zubra_sanitize_flags})
  target_link_options(zubra_compile_options INTERFACE ${zubra_sanitize_flags})
endif()
if(ZUBRA_COVERAGE)
  # The design engine counts on several threads: without atomic updates the counters race,
  # and gcov then reports negative counts that gcovr refuses to read.
  target_compile_options(zubra_compile_options INTERFACE --coverage -fprofile-update=atomic)
  target_link_options(zubra_compile_options INTERFACE --coverage -fprofile-update=atomic)
endif()
