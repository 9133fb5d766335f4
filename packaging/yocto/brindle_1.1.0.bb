# Builds the source tree that contains this recipe: add "packaging/yocto/*.bb" of that tree to BBFILES. brindlectl
# needs nlohmann-json and the unit tests need googletest, both from meta-openembedded. Written after the Yocto
# Project's documentation and not yet tried.
SUMMARY = "Maintenance tool for the files and settings in the board EEPROM"
SECTION = "console/utils"
LICENSE = "CLOSED"

SRC_URI = "file://run-ptest"

inherit cmake bash-completion ptest systemd externalsrc

EXTERNALSRC = "${@os.path.realpath(d.getVar('THISDIR') + '/../..')}"

PACKAGECONFIG ??= "ctl ${@bb.utils.contains('PTEST_ENABLED', '1', 'tests', '', d)}"
PACKAGECONFIG[ctl] = "-DBRINDLE_BUILD_CTL=ON,-DBRINDLE_BUILD_CTL=OFF,nlohmann-json"
PACKAGECONFIG[tests] = "-DBRINDLE_BUILD_TESTS=ON,-DBRINDLE_BUILD_TESTS=OFF,googletest"

# Tests are listed when they run: the build machine cannot execute the programs.
EXTRA_OECMAKE += "\
    -DCMAKE_BUILD_TYPE=Release \
    -DBRINDLE_SYSTEMD_UNIT_DIR=${systemd_system_unitdir} \
    -DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST \
"

SYSTEMD_SERVICE:${PN} = "${@bb.utils.contains('PACKAGECONFIG', 'ctl', 'brindlectl-recover.service', '', d)}"
SYSTEMD_AUTO_ENABLE ?= "disable"

# The udev rule has to be on the board, where "brindlectl doctor" names it; the manuals do not.
PACKAGES =+ "${PN}-examples"
FILES:${PN}-examples = "${docdir}/brindle/examples"
RDEPENDS:${PN} += "${PN}-examples"

do_install_ptest() {
    install -d ${D}${PTEST_PATH}/tests
    find ${B}/tests -type f -perm -u+x -name '*[Tt]est' -exec install -m 0755 {} ${D}${PTEST_PATH}/tests \;
}

RRECOMMENDS:${PN} += "kernel-module-i2c-dev"
