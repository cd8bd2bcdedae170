#include "dsp/dfu_0206_view.h"
#include "tests/fuzz/fuzzTarget.h"

#include <QApplication>
#include <QProcess>

#include <algorithm>

namespace {

/// A tool that has no process.
struct Tool : public QProcess
{
    using QProcess::setOpenMode;
};

} // namespace

/// The input is the chunks that the tool writes, separated by zeros.
int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static int argc = 0;
    static const QApplication application(argc, nullptr);
    for (const QByteArray &chunk : bytesOf(data, size).split('\0')) {
        dfu_0206_view runner(nullptr);
        Tool tool;
        tool.setOpenMode(QIODevice::ReadOnly);
        std::for_each(chunk.rbegin(), chunk.rend(), [&tool](char c) { tool.ungetChar(c); });
        runner.dspProcess = &tool;
        QByteArrayList values;
        QObject::connect(&runner, &dfu_0206_view::dsp_progress_value,
                         [&values](int value) { values += QByteArray::number(value); });
        runner.onReadData();
        const QByteArrayList parts = chunk.split('\r');
        const QByteArray part = parts.size() > 3 ? parts.value(parts.size() - 3) : QByteArray();
        require(values.size() == int{part.contains('/')}, "one part of the chunk counts");
        require(values.value(0) == "0" || part.contains(values.value(0)), "the tool's value");
        const auto total = static_cast<unsigned>(runner.dspTotal);
        require(total == 0 || part.contains(QByteArray::number(total)), "the tool's total");
    }
    return 0;
}
