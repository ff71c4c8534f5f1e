# The ARM receivers: ARMv7-A with hard float; made with Debian's cross compiler (package
# g++-arm-linux-gnueabihf), whose defaults these are.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
