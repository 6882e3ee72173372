# What is installed, for CMake, pkg-config and Debian's package tools.
include(CMakePackageConfigHelpers)

set(PACKAGE_DIRECTORY ${CMAKE_INSTALL_LIBDIR}/cmake/CorvaneQueue)
get_target_property(CORVANE_KIND CorvaneQueue TYPE)
if(CORVANE_KIND STREQUAL STATIC_LIBRARY)
  set(CORVANE_REQUIRES "sqlite3 libzstd")
  set(CORVANE_STATIC_LIBS " -lstdc++")
endif()
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/CorvaneQueueConfig.cmake.in ${PROJECT_BINARY_DIR}/CorvaneQueueConfig.cmake
  INSTALL_DESTINATION ${PACKAGE_DIRECTORY})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/CorvaneQueueConfigVersion.cmake COMPATIBILITY SameMajorVersion)
file(RELATIVE_PATH CORVANE_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(${PROJECT_SOURCE_DIR}/cmake/CorvaneQueue.pc.in ${PROJECT_BINARY_DIR}/CorvaneQueue.pc @ONLY)

install(TARGETS CorvaneQueue EXPORT CorvaneQueueTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(EXPORT CorvaneQueueTargets NAMESPACE CorvaneQueue:: DESTINATION ${PACKAGE_DIRECTORY} COMPONENT development)
install(FILES ${PROJECT_BINARY_DIR}/CorvaneQueueConfig.cmake ${PROJECT_BINARY_DIR}/CorvaneQueueConfigVersion.cmake
  DESTINATION ${PACKAGE_DIRECTORY} COMPONENT development)
install(FILES ${PROJECT_BINARY_DIR}/CorvaneQueue.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/CorvaneQueue
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
if(TARGET CorvaneQueueOdbc)
  install(TARGETS CorvaneQueueOdbc LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library)
endif()
if(TARGET corvaneq)
  install(TARGETS corvaneq RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
  install(FILES ${CORVANE_TYPE_LIBRARY} DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library)
  install(FILES ${CORVANE_MANUAL_PAGES} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
  install(FILES ${PROJECT_BINARY_DIR}/manual/completion.bash RENAME corvaneq
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tool)
  install(FILES ${PROJECT_BINARY_DIR}/manual/completion.zsh RENAME _corvaneq
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT tool)
  install(FILES ${PROJECT_BINARY_DIR}/manual/completion.fish RENAME corvaneq.fish
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT tool)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/corvaneq-work@.service DESTINATION lib/systemd/system COMPONENT tool)
endif()

foreach(component library development tool)
  set(PACKAGE_library libcorvanequeue${PROJECT_VERSION_MAJOR})
  set(PACKAGE_development libcorvanequeue-dev)
  set(PACKAGE_tool corvaneq)
  install(FILES ${PROJECT_SOURCE_DIR}/LICENSE RENAME copyright
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${PACKAGE_${component}} COMPONENT ${component})
  install(FILES ${PROJECT_SOURCE_DIR}/CHANGELOG.md
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${PACKAGE_${component}} COMPONENT ${component})
endforeach()

# ---- Debian packages: cpack -G DEB

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR CorvaneQueue)
set(CPACK_PACKAGE_CONTACT "The CorvaneQueue developers <developers@corvanequeue.invalid>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL library development tool)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/lib)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libcorvanequeue${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "queued documents in the application's own process
 One object model for queued text documents, durable and shared by many
 processes, whatever store holds them.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libcorvanequeue-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libcorvanequeue${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "headers and build files of CorvaneQueue
 For programs that are built with the library, by CMake or pkg-config.")
set(CPACK_DEBIAN_TOOL_PACKAGE_NAME corvaneq)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "libcorvanequeue${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION}), passwd")
set(CPACK_DEBIAN_TOOL_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/postinst)
set(CPACK_DEBIAN_TOOL_DESCRIPTION "operator tool of CorvaneQueue
 Sends, receives, finds, moves, exports and prunes queued documents, backs
 them up, and runs a program for each.")
include(CPack)
