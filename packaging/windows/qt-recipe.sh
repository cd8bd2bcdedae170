# What Qt for Windows is built from and with; sourced by build-qt.  A change here, and
# only here, makes another Qt.
# shellcheck shell=bash disable=SC2034

readonly qt_package=qtbase-opensource-src
readonly qt_version=5.15.8+dfsg-11+deb12u3
# Of the .dsc, which in turn names the checksums of the tarballs.
readonly qt_dsc_sha256=f442936526e336a033acb1021bfed0d59b42ee520483a015cf245478c75b3b7f

# Shared libraries, because whoever receives the program may replace Qt with another
# build.  Debian's sources lack wintab (hence no tablet events) and sqlite.  Text goes
# through Windows' own font engines.  Vulkan and Direct2D serve plugins not used here.
readonly qt_configure_options=(
    -xplatform win32-g++ -device-option CROSS_COMPILE=x86_64-w64-mingw32-
    -opensource -confirm-license
    -release -shared
    -no-opengl -no-dbus -no-icu -no-openssl -no-pkg-config
    -no-feature-vulkan -no-feature-direct2d -no-feature-tabletevent
    -qt-zlib -qt-pcre -qt-doubleconversion -qt-harfbuzz -qt-libpng -no-libjpeg -no-freetype
    -no-feature-network -no-feature-sql -no-feature-printer -no-feature-concurrent -no-feature-xml
    -no-feature-gif -no-feature-textodfwriter -no-feature-pdf -no-feature-sessionmanager
    -nomake examples -nomake tests -nomake tools
)
