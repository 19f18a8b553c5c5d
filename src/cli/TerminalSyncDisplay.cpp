#include "TerminalSyncDisplay.h"

#include "Console.h"

#include <cmath>

#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr int kRedrawIntervalMs = 50;
constexpr int kSpinnerIntervalMs = 120;
constexpr int kDefaultColumns = 80;

// Start of the line, clear it.
const QString kClearLine = QStringLiteral("\r\x1b[2K");
// Two lines up: from the bar back to the upper status line.
const QString kToTop = QStringLiteral("\x1b[2A");

int terminalColumns()
{
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        return size.ws_col;
    return kDefaultColumns;
}

} // namespace

void TerminalSyncDisplay::Line::setStringValue(const QString &text)
{
    if (text == m_text)
        return;
    m_text = text;
    m_display.lineChanged(m_prefix, text);
}

TerminalSyncDisplay::TerminalSyncDisplay(Console &console, bool interactive)
    : m_console(console)
    , m_interactive(interactive)
    , m_upper(*this, QString())
    , m_lower(*this, QStringLiteral("  "))
{
    m_spinner.setInterval(kSpinnerIntervalMs);
    QObject::connect(&m_spinner, &QTimer::timeout, [this] {
        ++m_spinnerFrame;
        redraw();
    });
    m_redrawTimer.setSingleShot(true);
    QObject::connect(&m_redrawTimer, &QTimer::timeout, [this] { redraw(); });
}

TerminalSyncDisplay::~TerminalSyncDisplay() = default;

void TerminalSyncDisplay::finish()
{
    m_spinner.stop();
    m_redrawTimer.stop();
    if (!m_interactive)
        return;
    redraw();
    m_console.write(QStringLiteral("\n"));
    m_drawn = false;
}

void TerminalSyncDisplay::setIndeterminate(bool indeterminate)
{
    m_indeterminate = indeterminate;
    progressChanged();
}

void TerminalSyncDisplay::startAnimation()
{
    if (m_interactive)
        m_spinner.start();
}

void TerminalSyncDisplay::stopAnimation()
{
    m_spinner.stop();
}

void TerminalSyncDisplay::setMinValue(double value)
{
    m_min = value;
}

void TerminalSyncDisplay::setMaxValue(double value)
{
    m_max = value;
    progressChanged();
}

void TerminalSyncDisplay::setDoubleValue(double value)
{
    m_value = value;
    progressChanged();
}

void TerminalSyncDisplay::incrementBy(double delta)
{
    m_value += delta;
    progressChanged();
}

void TerminalSyncDisplay::beep()
{
    if (m_interactive)
        m_console.write(QStringLiteral("\a"));
}

void TerminalSyncDisplay::runWarning(const QString &title, const QString &message, const QString &)
{
    // Nobody may be there to press a button: the warning is printed and the sync goes on.
    if (m_interactive && m_drawn) {
        m_console.write(kToTop + QStringLiteral("\r\x1b[J"));
        m_drawn = false;
    }
    m_console.print(QStringLiteral("%1: %2").arg(title, message));
    if (m_interactive)
        redraw();
}

void TerminalSyncDisplay::lineChanged(const QString &prefix, const QString &text)
{
    if (m_interactive)
        scheduleRedraw();
    else if (!text.isEmpty())
        m_console.print(prefix + text);
}

void TerminalSyncDisplay::progressChanged()
{
    if (m_interactive) {
        scheduleRedraw();
        return;
    }
    if (m_indeterminate || m_max <= 0)
        return;
    const int step = int(std::floor(m_value));
    if (step == m_printedStep)
        return;
    m_printedStep = step;
    m_console.print(QStringLiteral("  [%1/%2]").arg(step).arg(int(m_max)));
}

// A plug-in may report thousands of steps a second; the terminal is drawn at most every 50 ms.
void TerminalSyncDisplay::scheduleRedraw()
{
    if (m_redrawTimer.isActive())
        return;
    if (!m_sinceRedraw.isValid() || m_sinceRedraw.elapsed() >= kRedrawIntervalMs) {
        redraw();
        return;
    }
    m_redrawTimer.start(int(kRedrawIntervalMs - m_sinceRedraw.elapsed()));
}

void TerminalSyncDisplay::redraw()
{
    if (!m_interactive)
        return;
    m_sinceRedraw.start();
    const int width = terminalColumns() - 1;
    QString frame = m_drawn ? kToTop : QString();
    frame += kClearLine + fitted(m_upper.text(), width) + QLatin1Char('\n');
    frame += kClearLine + fitted(QStringLiteral("  ") + m_lower.text(), width) + QLatin1Char('\n');
    frame += kClearLine + progressBar(width);
    m_console.write(frame);
    m_drawn = true;
}

QString TerminalSyncDisplay::progressBar(int width) const
{
    const int barWidth = qBound(10, width - 20, 50);
    if (m_indeterminate || m_max <= m_min) {
        // A block that bounces from one end to the other.
        const int travel = barWidth - 3;
        const int position = travel > 0 ? std::abs((m_spinnerFrame % (2 * travel)) - travel) : 0;
        return QLatin1Char('[') + QString(travel - position, QLatin1Char(' ')) + QStringLiteral("<=>") +
               QString(position, QLatin1Char(' ')) + QLatin1Char(']');
    }
    const double fraction = qBound(0.0, (m_value - m_min) / (m_max - m_min), 1.0);
    const int filled = int(std::round(fraction * barWidth));
    return QLatin1Char('[') + QString(filled, QLatin1Char('#')) + QString(barWidth - filled, QLatin1Char('-')) +
           QStringLiteral("] %1/%2 %3%").arg(int(m_value)).arg(int(m_max)).arg(int(fraction * 100));
}

// Longer lines would wrap, and the redraw in place would then climb too few lines.
QString TerminalSyncDisplay::fitted(const QString &text, int width) const
{
    QString line = text;
    line.replace(QLatin1Char('\r'), QLatin1Char(' '));
    line.replace(QLatin1Char('\n'), QLatin1Char(' '));
    if (width > 1 && line.size() > width)
        line = line.left(width - 1) + QChar(0x2026);
    return line;
}
