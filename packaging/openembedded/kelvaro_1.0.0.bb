# Kelvaro for images built with OpenEmbedded, of the years when they had Python 2.7: rocko to zeus.
# Takes CMake 3.8 or later and GCC 7 or later, which is the first to know the sources' C++17.
#
# Copy this directory into a layer of the image, below recipes-*/, and set there, or in local.conf, what
# stands here with "?=". docs/receiver.md tells how an image combines its own files with these.

SUMMARY = "News and software updates for the receiver's Enigma2 screen"
DESCRIPTION = "Shows the image's news and what opkg can upgrade, and asks when updates wait."
SECTION = "extra"
KELVARO_HOMEPAGE ?= ""
HOMEPAGE = "${KELVARO_HOMEPAGE}"
LICENSE = "MIT"
LIC_FILES_CHKSUM = "file://LICENSE;md5=b275fbfcdb1e7818995e8f0c6a74fd33"

# The repository, and the commit to build.
KELVARO_REPOSITORY ?= "git://git.example.org/kelvaro.git;protocol=https;branch=main"
SRC_URI = "${KELVARO_REPOSITORY}"
SRCREV ?= "INVALID"
S = "${WORKDIR}/git"
# Or, in place of these three, an archive in files/, beside this file, made with
#   git archive --prefix=kelvaro-1.0.0/ --output=kelvaro-1.0.0.tar.gz HEAD
#SRC_URI = "file://${BP}.tar.gz"

# python-dir names the headers' directory (PYTHON_DIR). No other Python class: nothing of the
# target's Python runs in the build.
inherit cmake python-dir

# The target's headers, and msgfmt for the catalogues. The image's interpreter must have UCS-2
# strings; the compiler stops with a sentence at the headers of another one.
DEPENDS += "python gettext-native"

# Where this image keeps its plug-ins, below the prefix; what is installed beside the module; the
# languages of the texts ("": all); and the package that has the plug-in, with its UpgradeZirk, to
# depend on.
KELVARO_PLUGIN_DIRECTORY ?= "lib/enigma2/python/Plugins/SystemPlugins/ZIRKPanel"
KELVARO_FILES ?= "pictures skins texts"
KELVARO_LANGUAGES ?= ""
KELVARO_PLUGIN_PACKAGE ?= ""

EXTRA_OECMAKE += " \
    -DCMAKE_BUILD_TYPE=MinSizeRel \
    -DKELVARO_PYTHON_INCLUDE=${STAGING_INCDIR}/${PYTHON_DIR} \
    -DKELVARO_PLUGIN_DIRECTORY=${KELVARO_PLUGIN_DIRECTORY} \
    -DKELVARO_FILES='${KELVARO_FILES}' \
    -DKELVARO_LANGUAGES='${KELVARO_LANGUAGES}' \
"

# The standard modules as feeds split and name them: os, urllib2, cPickle, xml.dom. The C and C++
# libraries are in every image.
RDEPENDS_${PN} = "python-core python-netclient python-pickle python-xml ${KELVARO_PLUGIN_PACKAGE}"

FILES_${PN} = "${prefix}/${KELVARO_PLUGIN_DIRECTORY}"
