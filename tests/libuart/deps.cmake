# openpty() lives in libutil. The wraps let LineSpy.cpp see the settings and
# modem lines that a pty does not keep or have, and fail a read on demand.
target_link_libraries(${exe_name} PRIVATE util)
target_link_options(${exe_name} PRIVATE -Wl,--wrap=tcsetattr -Wl,--wrap=ioctl -Wl,--wrap=read)
