# Written by the documentation of the Yocto Project, not run here. Builds the source tree that it lies in: add
# "packaging/yocto/*.bb" of this tree to BBFILES. The unit tests need googletest from meta-openembedded.
SUMMARY = "Maintenance tool for the files and settings in the board EEPROM"
SECTION = "console/utils"
LICENSE = "CLOSED"

SRC_URI = "file://run-ptest"

inherit cmake bash-completion ptest externalsrc

EXTERNALSRC = "${@os.path.realpath(d.getVar('THISDIR') + '/../..')}"

PACKAGECONFIG ??= "${@bb.utils.contains('PTEST_ENABLED', '1', 'tests', '', d)}"
PACKAGECONFIG[tests] = "-DBRINDLE_BUILD_TESTS=ON,-DBRINDLE_BUILD_TESTS=OFF,googletest"

# Lists the tests when they are run: the programs can't be asked on the building machine.
EXTRA_OECMAKE += "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST"

do_install_ptest() {
    install -d ${D}${PTEST_PATH}/tests
    find ${B}/tests -type f -perm -u+x -name '*[Tt]est' -exec install -m 0755 {} ${D}${PTEST_PATH}/tests \;
}

RRECOMMENDS:${PN} += "kernel-module-i2c-dev"
