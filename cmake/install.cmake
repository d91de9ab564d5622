# Headers, library, program, its manual, package config and pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS tarnwillow EXPORT tarnwillowTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS tarnwillow_cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${PROJECT_SOURCE_DIR}/man/tarnwillow.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/tarnwillow DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    FILES_MATCHING PATTERN "*.h"
    PATTERN "CObjectDispatchWrapper.h" EXCLUDE
    PATTERN "CResultDisp*.h" EXCLUDE
    PATTERN "dispatchLog.h" EXCLUDE
    PATTERN "exceptionInfo.h" EXCLUDE
    PATTERN "heldValues.h" EXCLUDE
    PATTERN "referenceCount.h" EXCLUDE
    PATTERN "resultLog.h" EXCLUDE
    PATTERN "*Inner.h" EXCLUDE
    PATTERN "settings*.h" EXCLUDE
    PATTERN "registryCalls.h" EXCLUDE
    PATTERN "certificateFiles.h" EXCLUDE
    PATTERN "http[AELST]*.h" EXCLUDE
    PATTERN "exceptionObserver.h" EXCLUDE
    PATTERN "iconImages.h" EXCLUDE
    PATTERN "hostRegistry.h" EXCLUDE
    PATTERN "headlessTable.h" EXCLUDE
    PATTERN "x11*.h" EXCLUDE)
install(EXPORT tarnwillowTargets NAMESPACE tarnwillow::
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tarnwillow)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/tarnwillowConfig.cmake.in
    ${PROJECT_BINARY_DIR}/tarnwillowConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tarnwillow)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tarnwillowConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tarnwillowConfig.cmake
              ${PROJECT_BINARY_DIR}/tarnwillowConfigVersion.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tarnwillow)

configure_file(${PROJECT_SOURCE_DIR}/cmake/tarnwillow.pc.in
    ${PROJECT_BINARY_DIR}/tarnwillow.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tarnwillow.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
