# shellcheck shell=bash
# Variables come from the script that sources this file and go back to it; commas are part of linker options.
# shellcheck disable=SC2034,SC2154,SC2054
# What the Windows SDK is made of. Everything that shapes its contents stands in this folder, whose hash names the SDK.
#
# scripts/windows-sdk runs one function for each stage, in the order of "stages", in the folder $work. A stage that was
# cut short is started again from the beginning: it must first remove what the cut may have left half-written.
# Given by the script: $recipe (this folder), $toolchain (the toolchain file),
# $work, $resumed (yes for a stage that was cut short).

stages=(
    sources unpack configure makefiles tools core gui network widgets platform install quazip runtime licenses check
)

triplet=x86_64-w64-mingw32
qt_package=qtbase-opensource-src
qt_version=5.15.8
quazip_package=libquazip1-qt5
quazip_version=1.4

# Debian packages that the build needs on this machine.
required_packages=(
    apt cmake dpkg-dev g++ g++-mingw-w64-x86-64-posix libz-mingw-w64-dev make ninja-build patch perl python3
)

# Small libraries, in which no time and no folder of this build remains; with Windows' protections against exploits.
compile_flags=(-ffunction-sections -fdata-sections)
link_flags=(-Wl,--gc-sections -Wl,--no-insert-timestamp -Wl,--dynamicbase -Wl,--nxcompat -Wl,--high-entropy-va)
export SOURCE_DATE_EPOCH=1672531200

# Parts of Qt that an updater has no use for. Accessibility, high resolutions, rich text and every style stay.
qt_features_off=(
    # whole modules, and what the headers of MinGW-w64 lack
    concurrent printer sql tabletevent vulkan xml
    # core: tables of old East Asian encodings and of file types
    big_codecs mimetype statemachine
    # gui: formats for reading and writing
    imageformat_ppm imageformat_xbm pdf textmarkdownwriter textodfwriter
    # network: protocols and storage beside HTTP
    dnslookup ftp localserver networkdiskcache
    # widgets: large ones of editors and office programs
    calendarwidget colordialog columnview datawidgetmapper datetimeedit dial dirmodel errormessage filedialog
    filesystemmodel fontcombobox fontdialog graphicsview keysequenceedit lcdnumber mdiarea progressdialog
    splashscreen syntaxhighlighter toolbox undocommand wizard
)

stage_sources() {
    rm -rf apt download
    mkdir -p apt/lists/partial apt/cache/archives/partial apt/sources download
    /usr/bin/python3 "$recipe/deb-src.py" apt/sources
    # Read after the machine's own settings, which keep their word on proxies and the like. The hooks are switched off
    # because they act on the system's own package lists.
    cat >apt/apt.conf <<END
Dir::Etc::SourceList "/dev/null";
Dir::Etc::SourceParts "$PWD/apt/sources";
Dir::State::Lists "$PWD/apt/lists";
Dir::Cache "$PWD/apt/cache";
Acquire::Languages "none";
Acquire::Retries "3";
#clear APT::Update::Pre-Invoke;
#clear APT::Update::Post-Invoke;
#clear APT::Update::Post-Invoke-Success;
END
    # The account to which apt steps down when root runs it need not have access to this folder.
    if ((EUID == 0)); then
        echo 'APT::Sandbox::User "root";' >>apt/apt.conf
    fi
    # One unreachable list is not the end: whether the sources can be had decides.
    apt-get -c apt/apt.conf update || echo "apt-get update: some lists could not be read"
    (cd download && apt-get -c ../apt/apt.conf --download-only source "$qt_package" "$quazip_package")
}

# The one description of a source package's files that was downloaded: $1 package, $2 version that this recipe is for.
source_description() {
    local found=("download/$1_$2"[-+]*.dsc)
    if [[ ! -f ${found[0]} ]]; then
        echo "no sources of $1 $2 among: $(cd download && echo ./*.dsc)" >&2
        return 1
    fi
    echo "${found[0]}"
}

stage_unpack() {
    rm -rf qtbase quazip
    local description
    description=$(source_description "$qt_package" "$qt_version")
    dpkg-source -x "$description" qtbase
    description=$(source_description "$quazip_package" "$quazip_version")
    dpkg-source -x "$description" quazip
    patch -d qtbase -p1 <"$recipe/qtbase.patch"
}

stage_configure() {
    rm -rf build
    mkdir build
    local flags="${compile_flags[*]} -ffile-prefix-map=$work/="
    cd build || return
    ../qtbase/configure -opensource -confirm-license -silent -release -shared -optimize-size \
        -xplatform win32-g++ -device-option "CROSS_COMPILE=$triplet-" \
        "QMAKE_CC=$triplet-gcc-posix" "QMAKE_CXX=$triplet-g++-posix" \
        "QMAKE_LINK=$triplet-g++-posix" "QMAKE_LINK_C=$triplet-gcc-posix" \
        "QMAKE_CFLAGS+=$flags" "QMAKE_CXXFLAGS+=$flags" "QMAKE_LFLAGS+=${link_flags[*]}" \
        -prefix /qt -extprefix "$work/sdk" -hostprefix "$work/sdk" \
        -schannel -system-zlib -qt-pcre -qt-libpng -qt-harfbuzz \
        -no-dbus -no-freetype -no-gif -no-icu -no-libjpeg -no-libmd4c -no-opengl -no-zstd \
        -nomake examples -nomake tests -nomake tools "${qt_features_off[@]/#/-no-feature-}"
}

stage_makefiles() {
    make -C build sub-src-qmake_all
}

# Builds targets of Qt's src folder. $1 is a list of the folders that hold their results: what a cut compiler or linker
# left there is younger than its sources and would pass for finished.
build_qt() {
    local folders=$1 folder
    shift
    if [[ $resumed == yes ]]; then
        for folder in $folders; do
            make -C "build/src/$folder" clean
        done
    fi
    make -C build/src "${@/#/sub-}"
}

stage_tools() { build_qt "tools/bootstrap tools/moc tools/rcc tools/uic" bootstrap moc rcc uic; }
stage_core() { build_qt "3rdparty/pcre2 corelib winmain" corelib winmain; }
stage_gui() { build_qt "3rdparty/harfbuzz-ng 3rdparty/libpng gui" gui; }
stage_network() { build_qt "network" network; }
stage_widgets() { build_qt "widgets testlib" widgets testlib; }

qt_plugins=(platforms/windows imageformats/ico styles/windowsvista)

stage_platform() {
    build_qt "platformheaders platformsupport ${qt_plugins[*]/#/plugins/}" platformheaders platformsupport
    local plugin
    for plugin in "${qt_plugins[@]}"; do
        make -C "build/src/plugins/$plugin"
    done
}

stage_install() {
    rm -rf sdk
    local folder
    for folder in tools/{moc,rcc,uic} corelib winmain gui network testlib widgets "${qt_plugins[@]/#/plugins/}"; do
        make -C "build/src/$folder" -j 1 install
    done
    make -C build -j 1 install_mkspecs
    install -m 755 -s build/bin/qmake sdk/bin/qmake
    # These name the folders of this build, and nobody asks them: the program is built with CMake.
    rm -rf sdk/lib/*.prl sdk/lib/pkgconfig
}

stage_quazip() {
    rm -rf build-quazip
    cmake -S quazip -B build-quazip -G Ninja -Wno-dev \
        -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DFRESHEN_WINDOWS_SDK="$work/sdk" -DCMAKE_INSTALL_PREFIX="$work/sdk" \
        -DCMAKE_BUILD_TYPE=Release -DCMAKE_{C,CXX}_FLAGS="${compile_flags[*]} -ffile-prefix-map=$work/=" \
        -DCMAKE_SHARED_LINKER_FLAGS="-s ${link_flags[*]}" \
        -DQUAZIP_QT_MAJOR_VERSION=5 -DQUAZIP_BZIP2=OFF -DQUAZIP_FETCH_LIBS=OFF
    cmake --build build-quazip
    cmake --install build-quazip
}

stage_runtime() {
    local library
    for library in libgcc_s_seh-1 libstdc++-6 libwinpthread-1 zlib1; do
        install -m 644 "$("$triplet-g++-posix" -print-file-name="$library.dll")" sdk/bin/
        "$triplet-strip" --strip-unneeded --preserve-dates "sdk/bin/$library.dll"
    done
}

# Copies the notice of an installed Debian package.
copy_notice() {
    install -D -m 644 "/usr/share/doc/$1/copyright" "sdk/licenses/$2/copyright"
}

stage_licenses() {
    rm -rf sdk/licenses
    install -D -m 644 -t sdk/licenses/qt qtbase/LICENSE.LGPL3 qtbase/LICENSE.GPL3
    install -m 644 qtbase/debian/copyright sdk/licenses/qt/copyright
    install -D -m 644 -t sdk/licenses/quazip quazip/COPYING
    install -m 644 quazip/debian/copyright sdk/licenses/quazip/copyright
    copy_notice libz-mingw-w64 zlib
    # The notice of the compiler holds the runtime library exception, but refers to the system for the licence itself.
    copy_notice gcc-mingw-w64-x86-64-posix-runtime gcc-runtime
    install -m 644 /usr/share/common-licenses/GPL-3 sdk/licenses/gcc-runtime/GPL-3
    copy_notice mingw-w64-x86-64-dev winpthreads
    grep -q "GCC RUNTIME LIBRARY EXCEPTION" sdk/licenses/gcc-runtime/copyright
}

stage_check() {
    local file library characteristics
    for file in moc rcc uic; do
        "sdk/bin/$file" -v
    done
    for file in sdk/bin/*.dll sdk/plugins/*/*.dll; do
        characteristics=$("$triplet-objdump" -p "$file")
        for library in HIGH_ENTROPY_VA DYNAMIC_BASE NX_COMPAT; do
            grep -q "$library" <<<"$characteristics" || { echo "$file: $library is not set" >&2; return 1; }
        done
        # Each library that is imported is beside it or one of Windows', for which the compiler has an import library.
        while read -r library; do
            [[ -f sdk/bin/$library || -n $(find "/usr/$triplet/lib" -iname "lib${library%.*}.a") ]] \
                || { echo "$file: $library is missing" >&2; return 1; }
        done < <(sed -n 's/.*DLL Name: //p' <<<"$characteristics")
    done
    for file in bin/Qt5{Core,Gui,Network,Test,Widgets}.dll bin/libquazip1-qt5.dll lib/libqtmain.a \
        plugins/{platforms/qwindows,imageformats/qico,styles/qwindowsvistastyle}.dll; do
        [[ -f sdk/$file ]] || { echo "$file was not made" >&2; return 1; }
    done
    if grep -rlF "$work" sdk/bin/*.dll sdk/plugins sdk/lib/*.a; then
        echo "the files above hold the name of the build folder" >&2
        return 1
    fi
    # What exactly this SDK was made from: Debian keeps the sources of these versions.
    {
        (cd download && echo ./*.dsc)
        dpkg-query -W {g++,gcc}-mingw-w64-x86-64-posix gcc-mingw-w64-x86-64-posix-runtime binutils-mingw-w64-x86-64 \
            mingw-w64-x86-64-dev libz-mingw-w64-dev
    } >sdk/versions.txt
}
