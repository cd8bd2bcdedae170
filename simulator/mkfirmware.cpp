/// velmo-mkfirmware: writes firmware images for the simulated microphone.

#include "simulator/ImagePlan.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QSaveFile>

#include <cstdio>

namespace {

constexpr int exitUsage = 64; // as sysexits.h has it
constexpr int exitInputOutput = 1;

constexpr const char *defaultRecords = "20";
constexpr const char *defaultSize = "256";

[[noreturn]] void fail(int code, const QString &why)
{
    std::fprintf(stderr, "velmo-mkfirmware: %s\n", qPrintable(why));
    std::exit(code);
}

[[noreturn]] void failUsage(const QString &why)
{
    fail(exitUsage, why + QStringLiteral(" (see --help)"));
}

/// A decimal number; what may be in it the plan says, but for its type's range.
std::uint32_t numberOf(const QString &text, const QString &what)
{
    bool ok = false;
    const uint number = text.toUInt(&ok);
    if (!ok)
        failUsage(QStringLiteral("%1: '%2' is not a number").arg(what, text));
    return number;
}

std::array<std::uint8_t, sim::versionSize> versionOf(const QString &text)
{
    constexpr uint largestPart = 127; // a part is a signed byte to those who show it
    const QStringList parts = text.split(QLatin1Char('.'));
    std::array<std::uint8_t, sim::versionSize> version{};
    bool ok = parts.size() == int{sim::versionSize};
    for (std::size_t i = 0; i < version.size() && ok; ++i) {
        const uint part = parts[static_cast<int>(i)].toUInt(&ok);
        ok = ok && part <= largestPart;
        version[i] = static_cast<std::uint8_t>(part);
    }
    if (!ok)
        failUsage(QStringLiteral("version: '%1' is not three numbers from 0 to %2 with points "
                                 "between them")
                      .arg(text)
                      .arg(largestPart));
    return version;
}

QStringList breakageNames()
{
    QStringList names;
    for (const auto &breakage : sim::ImagePlan::breakages())
        names.append(QString::fromStdString(breakage.first));
    return names;
}

sim::ImagePlan::Breakage breakageOf(const QString &text)
{
    for (const auto &[name, breakage] : sim::ImagePlan::breakages())
        if (text == QString::fromStdString(name))
            return breakage;
    failUsage(QStringLiteral("broken: '%1' is none of %2")
                  .arg(text, breakageNames().join(QLatin1String(", "))));
}

std::vector<std::size_t> sizesOf(const QCommandLineParser &options)
{
    const QString list = QStringLiteral("sizes");
    const QString count = QStringLiteral("records");
    const QString size = QStringLiteral("size");
    if (!options.isSet(list)) {
        const std::uint32_t records = numberOf(options.value(count), count);
        if (records > sim::maximumRecordCount)
            failUsage(QStringLiteral("records: at most %1").arg(sim::maximumRecordCount));
        const std::size_t bytes = numberOf(options.value(size), size);
        std::vector<std::size_t> equal;
        equal.resize(records, bytes);
        return equal;
    }
    if (options.isSet(count) || options.isSet(size))
        failUsage(QStringLiteral("--sizes stands alone, without --records and --size"));
    std::vector<std::size_t> sizes;
    for (const QString &one : options.value(list).split(QLatin1Char(',')))
        sizes.push_back(numberOf(one, list));
    return sizes;
}

void write(const QString &path, const std::vector<std::uint8_t> &image)
{
    // The file appears, or is replaced, when it is whole.
    QSaveFile file(path);
    const auto size = static_cast<qint64>(image.size());
    if (!file.open(QIODevice::WriteOnly) ||
        file.write(reinterpret_cast<const char *>(image.data()), size) != size || !file.commit())
        fail(exitInputOutput, QStringLiteral("%1: %2").arg(path, file.errorString()));
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("velmo-mkfirmware"));

    QCommandLineParser options;
    options.setApplicationDescription(
        QStringLiteral("Writes a firmware image that the simulated microphone accepts."));
    options.addHelpOption();
    options.addOptions({
        {QStringLiteral("version"), QStringLiteral("Version to put into record 1: three numbers."),
         QStringLiteral("N.N.N")},
        {QStringLiteral("records"), QStringLiteral("Number of data records (20)."),
         QStringLiteral("N"), QString::fromLatin1(defaultRecords)},
        {QStringLiteral("size"), QStringLiteral("Bytes of each data record (256)."),
         QStringLiteral("BYTES"), QString::fromLatin1(defaultSize)},
        {QStringLiteral("sizes"), QStringLiteral("Instead: the size of each, in order."),
         QStringLiteral("BYTES,BYTES,...")},
        {QStringLiteral("seed"), QStringLiteral("The same seed gives the same contents (0)."),
         QStringLiteral("N"), QStringLiteral("0")},
        {QStringLiteral("broken"),
         QStringLiteral("Break the image: %1.").arg(breakageNames().join(QLatin1String(", "))),
         QStringLiteral("KIND")},
    });
    options.addPositionalArgument(QStringLiteral("OUT"), QStringLiteral("The file to write."));

    if (!options.parse(QCoreApplication::arguments()))
        failUsage(options.errorText());
    if (options.isSet(QStringLiteral("help")))
        options.showHelp(0);
    if (options.positionalArguments().size() != 1)
        failUsage(QStringLiteral("one OUT is needed"));

    sim::ImagePlan plan;
    if (options.isSet(QStringLiteral("version")))
        plan.version = versionOf(options.value(QStringLiteral("version")));
    plan.recordSizes = sizesOf(options);
    plan.seed = numberOf(options.value(QStringLiteral("seed")), QStringLiteral("seed"));
    if (options.isSet(QStringLiteral("broken")))
        plan.breakage = breakageOf(options.value(QStringLiteral("broken")));
    const std::string fault = plan.fault();
    if (!fault.empty())
        failUsage(QString::fromStdString(fault));

    write(options.positionalArguments().constFirst(), plan.makeImage());
    return 0;
}
