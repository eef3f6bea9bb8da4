SUMMARY = "Privileged network commands of a management controller"
DESCRIPTION = "Daemon that changes the kernel's network configuration for callers on \
D-Bus, and kexctl, its command line client."
LICENSE = "Apache-2.0"
LIC_FILES_CHKSUM = "file://LICENSE;md5=3b83ef96387f14655fc854ddc3c6bd57"

# Where the sources lie is the integrator's to say, as is the revision: the layer sets both.
KEX_URI ??= "git://git.example.com/kex;protocol=https;branch=main"
SRC_URI = "${KEX_URI}"
SRCREV ??= "${AUTOREV}"
S = "${WORKDIR}/git"

DEPENDS = "sdbusplus sdeventplus systemd python3-pyyaml-native python3-sdbus++-native"

inherit meson pkgconfig python3native systemd useradd

PACKAGECONFIG ??= "kexctl"
PACKAGECONFIG[kexctl] = "-Dkexctl=true,-Dkexctl=false,nlohmann-json"
PACKAGECONFIG[qlog] = "-Dqlog=enabled,-Dqlog=disabled,qlog"

KEX_CLIENTS_GROUP ??= "kex-clients"
# The binding libraries of the image, not the subsets that the sources bring.
EXTRA_OEMESON = " \
    --wrap-mode=nofallback \
    -Dtests=disabled \
    -Dclients_group=${KEX_CLIENTS_GROUP} \
    -Dunitdir=${systemd_system_unitdir} \
    -Dsysusersdir=${nonarch_libdir}/sysusers.d \
    -Dtmpfilesdir=${nonarch_libdir}/tmpfiles.d \
"

SYSTEMD_SERVICE:${PN} = "kex.service"

# While the root is made nothing runs systemd-sysusers.
USERADD_PACKAGES = "${PN}"
USERADD_PARAM:${PN} = "--system --user-group --no-create-home --home-dir / --shell /sbin/nologin kex"
GROUPADD_PARAM:${PN} = "--system ${KEX_CLIENTS_GROUP}"

PACKAGE_BEFORE_PN = "kexctl"
FILES:kexctl = " \
    ${bindir}/kexctl \
    ${datadir}/bash-completion \
    ${datadir}/zsh \
"
FILES:${PN} += " \
    ${datadir}/dbus-1 \
    ${datadir}/kex \
    ${nonarch_libdir}/sysusers.d \
    ${nonarch_libdir}/tmpfiles.d \
    ${systemd_system_unitdir} \
"

RDEPENDS:${PN} = "dbus"
RRECOMMENDS:${PN} = "dhcpcd ethtool iputils-arping"
