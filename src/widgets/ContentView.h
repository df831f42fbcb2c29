// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QMessageBox>
#include <QPointer>
#include <QWidget>

class QCheckBox;
class QHBoxLayout;
class QLayout;
class QVBoxLayout;
class QLabel;
class QLineEdit;

class QProgressBar;
class QPushButton;
class QTimeEdit;
class QTimer;

namespace sorvanel {

class AppModel;
class BusyIndicator;
class HistoryView;
class IssuesView;
class PathLabel;
class PreviewView;

// The main window's content: the two folders, the threshold, automatic
// cleanup, the two actions and the latest run's summary. It presents the
// three sheets and the alert as the model asks.
class ContentView : public QWidget
{
    Q_OBJECT

public:
    explicit ContentView(AppModel &model, QWidget *parent = nullptr);

    // For tests and screenshots.
    QPushButton *previewButton() const { return m_previewButton; }
    QPushButton *organizeButton() const { return m_organizeButton; }
    BusyIndicator *busyIndicator() const { return m_busy; }
    QWidget *progressRow() const { return m_progressRow; }
    QProgressBar *progressBar() const { return m_progressBar; }
    QLabel *progressText() const { return m_progressText; }
    QPushButton *stopButton() const { return m_stop; }
    QLineEdit *thresholdField() const { return m_threshold; }
    QCheckBox *automaticSwitch() const { return m_automaticSwitch; }
    QCheckBox *watchSwitch() const { return m_watchSwitch; }
    QLabel *watchStatus() const { return m_watchStatus; }
    QTimeEdit *timePicker() const { return m_time; }
    PathLabel *sourcePath() const { return m_sourcePath; }
    PreviewView *previewSheet() const { return m_preview; }
    IssuesView *issuesSheet() const { return m_issues; }
    HistoryView *historySheet() const { return m_history; }
    QMessageBox *alert() const { return m_alert; }
    QWidget *summary() const { return m_summary; }

signals:
    // The model wants something shown: the window hosting us should come forward.
    void presentationRequested();

private:
    // The sections of the view, top to bottom, and its wiring.
    QLayout *makeHeader();
    QLayout *makeSettingsGrid();
    QLayout *makeActions();
    QWidget *makeProgressRow();
    void connectControls();
    void followModel();
    QWidget *folderRow(PathLabel *&label, void (AppModel::*choose)());
    void updateFolders();
    void updateThreshold();
    void commitThreshold();
    void updateAutomatic();
    void updateWatch();
    void makeWatchControls();
    void updateRunning();
    void updateProgress();
    void updateSummary();
    void updateAlert();
    void placeOverWindow(QWidget *sheet) const;
    void present(QWidget *sheet, bool shows);

    AppModel &m_model;
    PathLabel *m_sourcePath = nullptr;
    PathLabel *m_destinationPath = nullptr;
    QLineEdit *m_threshold;
    QCheckBox *m_automaticSwitch;
    QCheckBox *m_watchSwitch;
    QLabel *m_watchStatus;
    QCheckBox *m_notify = nullptr;
    QCheckBox *m_trashDuplicates = nullptr;
    QTimeEdit *m_time;
    QLabel *m_everyDay;
    QPushButton *m_previewButton;
    QPushButton *m_organizeButton;
    BusyIndicator *m_busy;
    // Shown once a run has taken a second: progress and Stop.
    QWidget *m_progressRow;
    QProgressBar *m_progressBar;
    QLabel *m_progressText;
    QPushButton *m_stop;
    QTimer *m_progressDelay;
    QWidget *m_summary;
    QVBoxLayout *m_summaryLayout;
    QWidget *m_summaryBody = nullptr; // made anew for each result
    PreviewView *m_preview;
    IssuesView *m_issues;
    HistoryView *m_history;
    QPointer<QMessageBox> m_alert;
};

} // namespace sorvanel
