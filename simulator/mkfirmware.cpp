/// velmo-mkfirmware: writes firmware images for the simulated microphone.

#include "simulator/model/ImagePlan.h"
#include "simulator/model/exitCodes.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QSaveFile>

#include <cstdio>

namespace {

constexpr int exitInputOutput = 1;

[[noreturn]] void fail(int code, const QString &why)
{
    std::fprintf(stderr, "velmo-mkfirmware: %s\n", qPrintable(why));
    std::exit(code);
}

/// ImagePlan checks whether the image can have this number.
std::uint32_t numberOf(const QString &digits, std::uint32_t largest)
{
    bool ok = false;
    const uint number = digits.toUInt(&ok);
    if (!ok || number > largest)
        fail(sim::exitUsage, QString("'%1' is not a number from 0 to %2").arg(digits).arg(largest));
    return number;
}

std::array<std::uint8_t, sim::versionSize> versionOf(const QString &version)
{
    constexpr uint largestPart = 127; // programs that show it read a signed byte
    const QStringList parts = version.split('.');
    if (parts.size() != int{sim::versionSize})
        fail(sim::exitUsage,
             QString("'%1' is not three numbers with points between them").arg(version));
    std::array<std::uint8_t, sim::versionSize> bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<std::uint8_t>(numberOf(parts[static_cast<int>(i)], largestPart));
    return bytes;
}

void write(const QString &path, const std::vector<std::uint8_t> &image)
{
    // The file appears, or is replaced, only when it is complete.
    QSaveFile file(path);
    const auto size = static_cast<qint64>(image.size());
    if (!file.open(QIODevice::WriteOnly) ||
        file.write(reinterpret_cast<const char *>(image.data()), size) != size || !file.commit())
        fail(exitInputOutput, QString("%1: %2").arg(path, file.errorString()));
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName("velmo-mkfirmware");

    QStringList breakages;
    for (const std::string &name : sim::ImagePlan::breakages())
        breakages += QString::fromStdString(name);
    const QCommandLineOption version("version", "Version to put into record 1: three numbers.",
                                     "N.N.N");
    const QCommandLineOption records("records", "Number of data records (20).", "N", "20");
    const QCommandLineOption size("size", "Bytes of each data record (256).", "BYTES", "256");
    const QCommandLineOption sizes("sizes", "Sizes of all records; replaces --records and --size.",
                                   "BYTES,BYTES,...");
    const QCommandLineOption broken(
        "broken", QString("Break the image: %1.").arg(breakages.join(", ")), "KIND");
    QCommandLineParser options;
    options.setApplicationDescription(
        "Writes a firmware image that the simulated microphone accepts.");
    options.addHelpOption();
    options.addOptions({version, records, size, sizes, broken});
    options.addPositionalArgument("OUT", "The file to write.");
    if (!options.parse(QCoreApplication::arguments()))
        fail(sim::exitUsage, options.errorText());
    if (options.isSet("help"))
        options.showHelp(0);
    if (options.positionalArguments().size() != 1)
        fail(sim::exitUsage, "one OUT is needed (see --help)");

    sim::ImagePlan plan;
    if (options.isSet(version))
        plan.version = versionOf(options.value(version));
    if (options.isSet(sizes))
        for (const QString &one : options.value(sizes).split(','))
            plan.recordSizes.push_back(numberOf(one, sim::maximumRecordSize));
    else
        plan.recordSizes.assign(numberOf(options.value(records), sim::maximumRecordCount),
                                numberOf(options.value(size), sim::maximumRecordSize));
    plan.breakage = options.value(broken).toStdString();
    const std::string fault = plan.fault();
    if (!fault.empty())
        fail(sim::exitUsage, QString::fromStdString(fault));

    write(options.positionalArguments().constFirst(), plan.makeImage());
    return 0;
}
