# The sysroot's moc, uic and rcc are for the other processor. Qt defines its own only where there are
# none, so this machine's come first.
foreach(tool moc uic rcc)
    if(NOT TARGET Qt5::${tool})
        add_executable(Qt5::${tool} IMPORTED)
        set_target_properties(Qt5::${tool} PROPERTIES IMPORTED_LOCATION /usr/lib/qt5/bin/${tool})
    endif()
endforeach()
