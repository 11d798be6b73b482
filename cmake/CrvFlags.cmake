# Compiler flags shared by every target of the project, carried by the interface target crv_flags.
add_library(crv_flags INTERFACE)

# Results are pinned bit for bit: a fused multiply-add would round once where the formulas round
# twice, so contraction stays off. -ffast-math would reorder sums and is never used.
# -fno-math-errno changes no result: it only spares every square root the check that would set
# errno for a negative argument (and the call that does it), which sat on every hot loop.
# -fno-semantic-interposition lets one export call another directly (and inline it) instead of
# through the PLT: nobody interposes the library's own functions. GCC only: Clang already binds
# them so and warns that the option goes unused.
target_compile_options(crv_flags INTERFACE
  -ffp-contract=off -fno-math-errno
  $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-fno-semantic-interposition>
  $<$<COMPILE_LANG_AND_ID:C,GNU>:-fno-semantic-interposition>
  $<$<COMPILE_LANGUAGE:CXX>:-Wall -Wextra -Wpedantic>
  $<$<COMPILE_LANGUAGE:C>:-Wall -Wextra -Wpedantic>)

# Optimised builds ship at -O3: the vectoriser keeps every sum in its order without -ffast-math,
# and the golden table is reproduced bit for bit at -O3 as at -O0 and -O2 (the golden presets
# check the other levels). Flattening and fitting gain up to 15 % over -O2.
set(CRV_OPTIMIZE "-O3" CACHE STRING "Optimisation flag of RelWithDebInfo and Release builds")
target_compile_options(crv_flags INTERFACE $<$<CONFIG:RelWithDebInfo,Release>:${CRV_OPTIMIZE}>)

if(CRV_SANITIZE)
  target_compile_options(crv_flags INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(crv_flags INTERFACE -fsanitize=address,undefined)
endif()

# ThreadSanitizer cannot share a process with AddressSanitizer, so it is a build of its own; the
# concurrency test is what it is for.
if(CRV_TSAN)
  if(CRV_SANITIZE)
    message(FATAL_ERROR "CRV_TSAN and CRV_SANITIZE cannot be combined")
  endif()
  target_compile_options(crv_flags INTERFACE -fsanitize=thread -fno-omit-frame-pointer)
  target_link_options(crv_flags INTERFACE -fsanitize=thread)
endif()
