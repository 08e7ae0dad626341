# Every dependency comes from Debian's packages (see ./dev for the list).
find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)

# On Linux the libraries that ship an archive are linked from it: a shared
# library costs a process its symbol tables, relocated data and the code
# around every call into it, resident whether or not the command runs it
# (SQLite's 256 KiB in a live view that never opens the history, for one),
# while linked in, only the functions called are there, laid out with ours.
if(NOT APPLE)
  set(Boost_USE_STATIC_LIBS ON)
endif()
find_package(Boost 1.81 REQUIRED COMPONENTS json)
add_library(orvantine::boost INTERFACE IMPORTED)
target_link_libraries(orvantine::boost INTERFACE Boost::json Boost::headers)

find_package(fmt REQUIRED)
add_library(orvantine::fmt INTERFACE IMPORTED)
# Debian ships fmt as a shared library only; on Linux it is compiled in from
# its headers instead, for the reason above.
if(APPLE)
  target_link_libraries(orvantine::fmt INTERFACE fmt::fmt)
else()
  target_link_libraries(orvantine::fmt INTERFACE fmt::fmt-header-only)
endif()

find_package(CLI11 REQUIRED)

# The command's history database.
find_package(SQLite3 REQUIRED)
add_library(orvantine::sqlite INTERFACE IMPORTED)
if(NOT APPLE)
  find_library(ORVANTINE_SQLITE_ARCHIVE NAMES libsqlite3.a)
endif()
if(ORVANTINE_SQLITE_ARCHIVE)
  target_include_directories(orvantine::sqlite INTERFACE ${SQLite3_INCLUDE_DIRS})
  target_link_libraries(orvantine::sqlite INTERFACE ${ORVANTINE_SQLITE_ARCHIVE} m ${CMAKE_DL_LIBS} Threads::Threads)
else()
  target_link_libraries(orvantine::sqlite INTERFACE SQLite::SQLite3)
endif()

if(APPLE)
  find_library(CORE_FOUNDATION CoreFoundation REQUIRED)
  find_library(IOKIT IOKit REQUIRED)
  find_library(SYSTEM_CONFIGURATION SystemConfiguration REQUIRED)
  set(ORVANTINE_CORE_PLATFORM_LIBS ${CORE_FOUNDATION} Threads::Threads)
  set(ORVANTINE_PRIVATEAPIS_PLATFORM_LIBS ${CORE_FOUNDATION} ${IOKIT} objc)
  set(ORVANTINE_SAMPLING_PLATFORM_LIBS ${CORE_FOUNDATION} ${IOKIT} ${SYSTEM_CONFIGURATION})
else()
  pkg_check_modules(SYSTEMD REQUIRED IMPORTED_TARGET libsystemd)
  pkg_check_modules(PLIST REQUIRED IMPORTED_TARGET libplist-2.0)
  pkg_check_modules(MNL REQUIRED IMPORTED_TARGET libmnl)
  # ICU's headers only, for grapheme breaking and character classes of
  # text that is not ASCII: libicuuc is opened with dlopen when such text
  # comes (Sampling/linux/UnicodeTextLinux.cpp). Numbers, the order of names
  # and time zones come from the C library's locale and zone data.
  find_package(ICU REQUIRED COMPONENTS uc)
  # libsystemd's headers only: the journal and bus calls are opened with
  # dlopen when there is a journal or bus to reach (core/linux/SystemdLibrary);
  # the helper links it for socket activation.
  set(ORVANTINE_CORE_PLATFORM_LIBS PkgConfig::PLIST Threads::Threads ${CMAKE_DL_LIBS})
  set(ORVANTINE_CORE_PLATFORM_INCLUDES ${SYSTEMD_INCLUDE_DIRS})
  set(ORVANTINE_PRIVATEAPIS_PLATFORM_LIBS ${CMAKE_DL_LIBS})
  set(ORVANTINE_SAMPLING_PLATFORM_LIBS PkgConfig::MNL ${CMAKE_DL_LIBS})
  set(ORVANTINE_SAMPLING_PLATFORM_INCLUDES ${ICU_INCLUDE_DIRS})
endif()
