#pragma once

#include "sync/TVRProgressIndicator.h"
#include "sync/TVRStatusField.h"
#include "sync/TVRSyncAlerter.h"

#include <QElapsedTimer>
#include <QString>
#include <QTimer>

class Console;

// Shows a sync in the terminal. On a terminal: the two status lines and a progress bar, redrawn in
// place. Otherwise (a pipe, a log file): one line for each change, so scripts can follow.
class TerminalSyncDisplay : public TVRProgressIndicator, public TVRSyncAlerter
{
public:
    TerminalSyncDisplay(Console &console, bool interactive);
    ~TerminalSyncDisplay() override;

    TVRStatusField *pluginStatus() { return &m_upper; }
    TVRStatusField *itemStatus() { return &m_lower; }

    // Draws what is pending and leaves the cursor below the display, for the summary.
    void finish();

    void setIndeterminate(bool indeterminate) override;
    void startAnimation() override;
    void stopAnimation() override;
    void setMinValue(double value) override;
    void setMaxValue(double value) override;
    void setDoubleValue(double value) override;
    void incrementBy(double delta) override;

    void beep() override;
    void activateApplication() override {}
    void runWarning(const QString &title, const QString &message, const QString &button) override;

private:
    class Line : public TVRStatusField
    {
    public:
        Line(TerminalSyncDisplay &display, QString prefix)
            : m_display(display)
            , m_prefix(std::move(prefix))
        {}
        void setStringValue(const QString &text) override;
        QString text() const { return m_text; }

    private:
        TerminalSyncDisplay &m_display;
        QString m_prefix;
        QString m_text;
    };

    void lineChanged(const QString &prefix, const QString &text);
    void progressChanged();
    void scheduleRedraw();
    void redraw();
    QString progressBar(int width) const;
    QString fitted(const QString &text, int width) const;

    Console &m_console;
    const bool m_interactive;
    Line m_upper;
    Line m_lower;
    bool m_indeterminate = true;
    double m_min = 0;
    double m_max = 0;
    double m_value = 0;
    int m_printedStep = -1;
    int m_spinnerFrame = 0;
    bool m_drawn = false;
    QTimer m_spinner;
    QTimer m_redrawTimer;
    QElapsedTimer m_sinceRedraw;
};
