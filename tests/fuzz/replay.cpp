#include "tests/fuzz/fuzzTarget.h"

#include <QDir>
#include <QFile>

#include <cstdio>
#include <vector>

/// Runs a target without libFuzzer: gives it each file of a folder.
int main(int argc, char *argv[])
{
    const QDir folder(QString::fromLocal8Bit(argv[argc - 1]));
    const QStringList names = folder.entryList(QDir::Files);
    for (const QString &name : names) {
        std::fprintf(stderr, "%s\n", qPrintable(name));
        QFile file(folder.filePath(name));
        require(file.open(QIODevice::ReadOnly), "the file can be read");
        const QByteArray content = file.readAll();
        // A heap block of the exact size lets the sanitizer detect a read past its end.
        const std::vector<std::uint8_t> exact(content.begin(), content.end());
        LLVMFuzzerTestOneInput(exact.data(), exact.size());
    }
    return names.isEmpty() ? 1 : 0;
}
