# Code that calls the operating system lives in pairs of files, x_win.cpp and x_unix.cpp, behind one header x.h.
if(WIN32)
    set(FRESHEN_PLATFORM win)
else()
    set(FRESHEN_PLATFORM unix)
endif()
