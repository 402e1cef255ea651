target_link_libraries(${exe_name} PRIVATE siu_uart)
# openpty() lives in libutil. The wraps let UartTest.cpp see the settings and
# modem lines that a pty does not keep or have, and fail a read as it asks.
target_link_libraries(${exe_name} PRIVATE util)
target_link_options(${exe_name} PRIVATE -Wl,--wrap=tcsetattr -Wl,--wrap=ioctl -Wl,--wrap=read)
