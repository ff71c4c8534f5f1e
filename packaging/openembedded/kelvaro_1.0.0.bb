# Kelvaro 1.0.0: see kelvaro.inc, also for what is UNTESTED here.
#
# Copy this directory into a layer of the image, below recipes-*/, and name the sources: either an
# archive of them beside this file, as here, made in the project with
#   git archive --prefix=kelvaro-1.0.0/ --output=kelvaro-1.0.0.tar.gz HEAD
# or the image's own mirror of the repository, with SRCREV and S = "${WORKDIR}/git".

require kelvaro.inc

PR = "r0"

SRC_URI = "file://${BP}.tar.gz"
FILESEXTRAPATHS_prepend := "${THISDIR}:"
