# The MIPS receivers: MIPS32 release 1, little-endian, hard float in the o32 convention; made with
# Debian's cross compiler (package g++-mipsel-linux-gnu).

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mipsel)
set(CMAKE_CXX_COMPILER mipsel-linux-gnu-g++)

# The compiler would take release 2, and registers that suit two kinds of floating-point unit.
# The module is nearly all calls. The other four each make it one to three per cent smaller: more
# delay slots are filled, fewer values wait in registers that have to be saved around the calls, and
# literals are found from a common anchor.
string(CONCAT CMAKE_CXX_FLAGS_INIT "-march=mips32 -mhard-float -mfp32 "
  "-frename-registers -fno-caller-saves -fno-move-loop-invariants -fsection-anchors")

# -nostartfiles: the compiler's own start files are code for release 2 and would make the module so.
#   They serve constructors and destructors of static objects, of which the module has none (with
#   one, the linker misses __dso_handle).
# build-id: objcopy cannot place it in a MIPS file of debugging symbols.
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-nostartfiles -Wl,--build-id=none")
