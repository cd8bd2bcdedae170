/// velmo-mkfirmware: writes firmware images for the simulated microphone.

#include "simulator/model/ImagePlan.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QSaveFile>

#include <cstdio>

namespace {

constexpr int exitUsage = 64; // as sysexits.h has it
constexpr int exitInputOutput = 1;

QString text(const char *latin1)
{
    return QString::fromLatin1(latin1);
}

[[noreturn]] void fail(int code, const QString &why)
{
    std::fprintf(stderr, "velmo-mkfirmware: %s\n", qPrintable(why));
    std::exit(code);
}

/// The plan checks what the number means.
std::uint32_t numberOf(const QString &digits, std::uint32_t largest)
{
    bool ok = false;
    const uint number = digits.toUInt(&ok);
    if (!ok || number > largest)
        fail(exitUsage, text("'%1' is no number from 0 to %2").arg(digits).arg(largest));
    return number;
}

std::array<std::uint8_t, sim::versionSize> versionOf(const QString &version)
{
    constexpr uint largestPart = 127; // a part is a signed byte to those who show it
    const QStringList parts = version.split(QLatin1Char('.'));
    if (parts.size() != int{sim::versionSize})
        fail(exitUsage, text("'%1' is not three numbers with points between them").arg(version));
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
        fail(exitInputOutput, text("%1: %2").arg(path, file.errorString()));
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(text("velmo-mkfirmware"));

    QStringList breakages;
    for (const std::string &name : sim::ImagePlan::breakages())
        breakages += QString::fromStdString(name);
    const QCommandLineOption version(
        text("version"), text("Version to put into record 1: three numbers."), text("N.N.N"));
    const QCommandLineOption records(text("records"), text("Number of data records (20)."),
                                     text("N"), text("20"));
    const QCommandLineOption size(text("size"), text("Bytes of each data record (256)."),
                                  text("BYTES"), text("256"));
    const QCommandLineOption sizes(text("sizes"), text("Instead: the size of each, in order."),
                                   text("BYTES,BYTES,..."));
    const QCommandLineOption broken(
        text("broken"), text("Break the image: %1.").arg(breakages.join(text(", "))), text("KIND"));
    QCommandLineParser options;
    options.setApplicationDescription(
        text("Writes a firmware image that the simulated microphone accepts."));
    options.addHelpOption();
    options.addOptions({version, records, size, sizes, broken});
    options.addPositionalArgument(text("OUT"), text("The file to write."));
    if (!options.parse(QCoreApplication::arguments()))
        fail(exitUsage, options.errorText());
    if (options.isSet(text("help")))
        options.showHelp(0);
    if (options.positionalArguments().size() != 1)
        fail(exitUsage, text("one OUT is needed (see --help)"));

    sim::ImagePlan plan;
    if (options.isSet(version))
        plan.version = versionOf(options.value(version));
    if (options.isSet(sizes))
        for (const QString &one : options.value(sizes).split(QLatin1Char(',')))
            plan.recordSizes.push_back(numberOf(one, sim::maximumRecordSize));
    else
        plan.recordSizes.assign(numberOf(options.value(records), sim::maximumRecordCount),
                                numberOf(options.value(size), sim::maximumRecordSize));
    plan.breakage = options.value(broken).toStdString();
    const std::string fault = plan.fault();
    if (!fault.empty())
        fail(exitUsage, QString::fromStdString(fault));

    write(options.positionalArguments().constFirst(), plan.makeImage());
    return 0;
}
