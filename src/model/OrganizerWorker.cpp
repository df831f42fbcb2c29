// SPDX-License-Identifier: GPL-3.0-or-later
#include "OrganizerWorker.h"

namespace sorvanel {

OrganizerWorker::OrganizerWorker(std::shared_ptr<CleanupRun> run, QObject *parent)
    : QObject(parent)
    , m_run(std::move(run))
{
    m_thread.setObjectName(u"organizer"_qs);
    m_context = new QObject;
    m_context->moveToThread(&m_thread);
    m_thread.start();
}

OrganizerWorker::~OrganizerWorker()
{
    // Jobs not yet begun are dropped; the one in progress finishes first.
    m_thread.quit();
    m_thread.wait();
    delete m_context;
}

void OrganizerWorker::post(std::function<void(CleanupRun &)> job)
{
    QMetaObject::invokeMethod(
        m_context, [run = m_run, job = std::move(job)] { job(*run); }, Qt::QueuedConnection);
}

} // namespace sorvanel
