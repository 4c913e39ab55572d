# What every binary of the tree is built with, so that a mistake that slipped through ends a process
# instead of opening it: checked on the results by scripts/check-binaries.
option(ZV_PIE "Link programs so that they can be loaded anywhere" ON)
if(ZV_PIE)
  include(CheckPIESupported)
  check_pie_supported()
else()
  # The sanitizers' tables hold a million addresses, which each start would relocate.
  add_link_options($<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-no-pie>)
endif()

add_compile_options(-fstack-protector-strong -fstack-clash-protection)
# The library's checks of lengths need the optimiser; the sanitizers, which build without, do more.
add_compile_definitions($<$<CONFIG:Release>:_FORTIFY_SOURCE=2> $<$<CONFIG:Release>:_GLIBCXX_ASSERTIONS>)
add_link_options(-Wl,-z,relro,-z,now,-z,noexecstack)
