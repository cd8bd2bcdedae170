#include "launcher/JsonDisplay.h"

#include "launcher/ImageReport.h"
#include "launcher/PluggedIn.h"
#include "launcher/Terminal.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>

namespace {

constexpr double millisecondsOfSecond = 1000;

} // namespace

void JsonDisplay::print(const QString &event, QJsonObject object)
{
    object.insert(QStringLiteral("event"), event);
    const QByteArray line = QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
    std::fputs(line.constData(), stdout);
    std::fflush(stdout);
}

void JsonDisplay::image(const ImageReport &report, Detail /*detail*/)
{
    print(QStringLiteral("image"), report.json());
}

void JsonDisplay::microphone(const PluggedIn &microphone)
{
    print(QStringLiteral("microphone"), {{QStringLiteral("id"), microphone.id()},
                                         {QStringLiteral("product"), microphone.product},
                                         {QStringLiteral("node"), microphone.node},
                                         {QStringLiteral("path_rule"), microphone.pathRule()},
                                         {QStringLiteral("opens"), microphone.openError.isEmpty()},
                                         {QStringLiteral("why"), microphone.openError}});
}

void JsonDisplay::progress(const Progress &progress)
{
    if (progress.phase == shown.phase && progress.percent == shown.percent)
        return;
    shown = progress;
    const double seconds = static_cast<double>(progress.elapsedMs) / millisecondsOfSecond;
    print(QStringLiteral("progress"), {{QStringLiteral("phase"), progress.phaseName()},
                                       {QStringLiteral("percent"), progress.percent},
                                       {QStringLiteral("seconds"), seconds}});
}

void JsonDisplay::note(const QString &text)
{
    Terminal::print(stderr, text + QLatin1Char('\n'));
}

void JsonDisplay::outcome(const Outcome &outcome)
{
    print(QStringLiteral("outcome"), {{QStringLiteral("code"), outcome.code},
                                      {QStringLiteral("outcome"), outcome.name()},
                                      {QStringLiteral("message"), outcome.message}});
}
