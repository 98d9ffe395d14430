# Where an installation puts what: the program, its manual page, and what starts it on an instrument.
# An instrument's start-up looks in fixed places, so the prefix is chosen at configuration, for all of them.
if(CMAKE_INSTALL_PREFIX_INITIALIZED_TO_DEFAULT)
    set(CMAKE_INSTALL_PREFIX /usr CACHE PATH "Where the program is installed" FORCE)
endif()
include(GNUInstallDirs)
set(TESKUPDATER_LIBDIR ${CMAKE_INSTALL_PREFIX}/lib/teskupdater)

foreach(name teskupdater-start teskupdater.service teskupdater.init)
    configure_file(packaging/start/${name}.in ${CMAKE_BINARY_DIR}/start/${name} @ONLY)
endforeach()

install(TARGETS teskupdater DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES docs/man/teskupdater.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(PROGRAMS ${CMAKE_BINARY_DIR}/start/teskupdater-start DESTINATION ${TESKUPDATER_LIBDIR} RENAME start)
install(FILES ${CMAKE_BINARY_DIR}/start/teskupdater.service DESTINATION ${CMAKE_INSTALL_PREFIX}/lib/systemd/system)
install(PROGRAMS ${CMAKE_BINARY_DIR}/start/teskupdater.init
    DESTINATION ${CMAKE_INSTALL_FULL_SYSCONFDIR}/init.d RENAME teskupdater)
install(FILES packaging/start/teskupdater.default
    DESTINATION ${CMAKE_INSTALL_FULL_SYSCONFDIR}/default RENAME teskupdater)
install(FILES packaging/start/fonts.conf DESTINATION ${CMAKE_INSTALL_DATADIR}/teskupdater)

if(TARGET teskupdater-audit)
    install(TARGETS teskupdater-audit DESTINATION ${CMAKE_INSTALL_BINDIR})
    install(FILES docs/man/teskupdater-audit.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endif()
