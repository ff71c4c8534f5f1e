# The ARM receivers: ARMv7-A with hard float; made with Debian's cross compiler (package
# g++-arm-linux-gnueabihf), whose defaults these are.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)

# A 32-bit ARM kernel has pages of 4 KiB; the default of 64 KiB leaves a hole in the file.
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-Wl,-z,noexecstack -Wl,-z,max-page-size=4096")
