// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "AppModel.h"
#include "FakeServices.h"
#include "SettingsStore.h"
#include "TestSupport.h"

#include <QCoreApplication>
#include <QLabel>
#include <QWidget>

namespace sorvanel::test {

// A model on a temporary home with substitute platform services.
struct ModelFixture
{
    TemporaryHome home;
    std::shared_ptr<SettingsStore> store = std::make_shared<SettingsStore>();
    std::shared_ptr<FakeLoginItems> loginItems = std::make_shared<FakeLoginItems>();
    std::shared_ptr<FakeChooser> chooser = std::make_shared<FakeChooser>();
    std::unique_ptr<AppModel> model = std::make_unique<AppModel>(store, loginItems, chooser);
};

inline OrganizationResult sampleResult(int moved, int skipped, QList<OrganizationIssue> issues = {})
{
    OrganizationResult result;
    result.runDate = QDateTime(QDate(2024, 3, 7), QTime(21, 30), Qt::UTC);
    result.moved = moved;
    result.skipped = skipped;
    result.issues = std::move(issues);
    return result;
}

inline QStringList visibleTexts(const QWidget *root)
{
    // Children added to a shown widget appear on the next turn of the event loop.
    QCoreApplication::processEvents();
    QStringList texts;
    for (const QLabel *label : root->findChildren<QLabel *>()) {
        if (label->isVisibleTo(root) && !label->text().isEmpty())
            texts << label->text();
    }
    return texts;
}

} // namespace sorvanel::test
