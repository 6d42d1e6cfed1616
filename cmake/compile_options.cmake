# Two interface targets: vel_strict for all code of ours, vel_product for what ships (no exceptions, no RTTI).
add_library(vel_strict INTERFACE)
target_compile_options(vel_strict INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wformat=2 -Wundef
  -Wnon-virtual-dtor -Woverloaded-virtual -Wimplicit-fallthrough -Wcast-align -Werror
  # Messages and assertions name files relative to the repository, wherever it was checked out.
  "-ffile-prefix-map=${CMAKE_SOURCE_DIR}/=")
if(WIN32)
  # Debuggers put the folder of the build in front of these names; nothing is what finds them from the repository.
  target_compile_options(vel_strict INTERFACE "-fdebug-prefix-map=${CMAKE_BINARY_DIR}=.")
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(vel_strict INTERFACE -Wduplicated-cond -Wlogical-op)
endif()

add_library(vel_product INTERFACE)
target_link_libraries(vel_product INTERFACE vel_strict)
target_compile_options(vel_product INTERFACE -fno-exceptions -fno-rtti)
if(WIN32)
  # For the file with the symbols. The libraries' headers go by their names in the repository there, not by those of the
  # user's own cache that the links lead to.
  target_compile_options(vel_product INTERFACE -g -fno-canonical-system-headers)
endif()

if(VEL_SANITIZE)
  add_compile_options(-fsanitize=${VEL_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${VEL_SANITIZE})
endif()

if(VEL_COVERAGE)
  # Clang's own counters: they follow the source's conditions, not the branches of the machine code. Relocatable, so that
  # they can lie in the profile itself and a program that aborts has counted all the same; atomic, because of threads.
  add_compile_options(-fprofile-instr-generate -fcoverage-mapping -fprofile-update=atomic
    "SHELL:-mllvm -runtime-counter-relocation")
  add_link_options(-fprofile-instr-generate)
endif()

if(WIN32)
  add_compile_definitions(UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0A00)
  # The same sources make the same program, whenever it is linked.
  add_link_options(-static LINKER:--no-insert-timestamp)
endif()
