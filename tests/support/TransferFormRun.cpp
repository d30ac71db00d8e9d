#include "support/TransferFormRun.h"

#include <QPointer>
#include <QTest>

namespace tarnaxe::test {

QList<QStringList> runTransferForm(TransferFormContext context,
                                   std::function<void(TransferForm&)> during, int timeoutMs)
{
    QPointer<TransferForm> form = new TransferForm(std::move(context));
    QList<QStringList> statuses;
    QObject::connect(form, &TransferForm::CurrentStatus, form,
                     [&statuses, &form, during](const QString& status, const QString& message) {
                         statuses << QStringList{status, message, form->windowTitle()};
                         if (status == QLatin1String("BUSY") && during)
                             during(*form);
                     });
    form->show();
    if (!QTest::qWaitFor([&form] { return form.isNull(); }, timeoutMs))
        qWarning("the transfer form did not unload");
    return statuses;
}

} // namespace tarnaxe::test
