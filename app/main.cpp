// lumetra: the desktop program. Optional argument: a record to open.
#include <QApplication>

#include "app/main_form.h"

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  QApplication::setApplicationName(QStringLiteral("Lumetra32"));
  QApplication::setOrganizationName(QStringLiteral("Lumetra"));
  lumetra::TMainForm form;
  form.show();
  const QStringList args = QApplication::arguments();
  if (args.size() > 1) form.OpenRecord(args.at(1));
  return app.exec();
}
