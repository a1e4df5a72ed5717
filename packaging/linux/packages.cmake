# SPDX-License-Identifier: Apache-2.0

# cpack --config BUILD/CPackConfig.cmake makes a Debian package of each component of the installation.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME velta-uwb)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT ${contact})
set(CPACK_COMPONENTS_ALL service uwbctl radio)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_STRIP_FILES ON)
# /etc is outside of the prefix, and everything stays out of this machine's own folders.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(control ${CMAKE_CURRENT_SOURCE_DIR}/debian)

set(CPACK_DEBIAN_SERVICE_PACKAGE_NAME velta-uwb)
set(CPACK_DEBIAN_SERVICE_DESCRIPTION "Ultra-wideband hardware service
Android's UWB service for a Linux host with a radio whose driver has the
mcps802154 netlink family: FiRa two-way ranging, CCC sessions, simple
ranging, over binder. With servicemanager, through which clients find it.")
set(CPACK_DEBIAN_SERVICE_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_SERVICE_PACKAGE_DEPENDS "systemd (>= 251) | systemd-sysusers, udev, init-system-helpers (>= 1.52), passwd")
set(CPACK_DEBIAN_SERVICE_PACKAGE_RECOMMENDS uwbctl)
file(GLOB configuration RELATIVE ${CMAKE_CURRENT_SOURCE_DIR} CONFIGURE_DEPENDS etc/velta-uwb/*)
list(TRANSFORM configuration PREPEND /)
list(JOIN configuration "\n" conffiles)
file(WRITE ${build}/service/conffiles.new "${conffiles}\n")
file(COPY_FILE ${build}/service/conffiles.new ${build}/service/conffiles ONLY_IF_DIFFERENT)
set(CPACK_DEBIAN_SERVICE_PACKAGE_CONTROL_EXTRA
  ${build}/service/conffiles ${control}/velta-uwb/postinst ${control}/velta-uwb/prerm ${control}/velta-uwb/postrm)
set(CPACK_DEBIAN_SERVICE_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_UWBCTL_PACKAGE_NAME uwbctl)
set(CPACK_DEBIAN_UWBCTL_DESCRIPTION "Command-line client of the ultra-wideband service
Ranges from a terminal or a script: live tables, JSON and CSV, recordings
and reports of them, calibration by country.")
set(CPACK_DEBIAN_UWBCTL_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_UWBCTL_PACKAGE_RECOMMENDS velta-uwb)

set(CPACK_DEBIAN_RADIO_PACKAGE_NAME mcps802154-sim-dkms)
set(CPACK_DEBIAN_RADIO_DESCRIPTION "Virtual ultra-wideband radio (kernel module, DKMS)
UWB hardware that exists only in a kernel module, for trying and testing
the service: real IEEE 802.15.4 interfaces, the mcps802154 netlink family,
and distances measured in a small simulated world.")
set(CPACK_DEBIAN_RADIO_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_RADIO_PACKAGE_SECTION kernel)
set(CPACK_DEBIAN_RADIO_PACKAGE_DEPENDS "dkms (>= 3), kmod")
configure_file(debian/mcps802154-sim-dkms/postinst radio/postinst @ONLY)
configure_file(debian/mcps802154-sim-dkms/prerm radio/prerm @ONLY)
set(CPACK_DEBIAN_RADIO_PACKAGE_CONTROL_EXTRA ${build}/radio/postinst ${build}/radio/prerm)
set(CPACK_DEBIAN_RADIO_PACKAGE_CONTROL_STRICT_PERMISSION ON)

include(CPack)
