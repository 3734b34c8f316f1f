// lumetra: the desktop program. Optional argument: a record to open.
// Hidden options for documentation and checks: --frame N, --region L,T,R,B,
// --line X0,Y0,X1,Y1, --zoom Z (1 to 30), --tracking (opens the tracking window
// and runs Detect), --link (then Link Tracks too), --steps (opens the
// step-detection window and runs Detect, Tracking and the S-test) and
// --screenshot FILE (saves the window, or the tool window, after it has been
// shown and quits). --auto-track (listed by --help) tracks the record with
// the stored settings, writes its XKI file beside it, prints the record's
// summary row and quits: status 0 when the file was written, else 1.
#include <QApplication>
#include <QCommandLineParser>
#include <QTimer>
#include <cstdio>
#include <memory>

#include "app/main_form.h"
#include "batch/batch_summary.h"
#include "spots/gui/spot_form.h"
#include "steps/gui/detect_form.h"

namespace {

std::vector<int> Numbers(const QString& text) {
  std::vector<int> out;
  for (const QString& part : text.split(QLatin1Char(','))) {
    bool ok = false;
    const int v = part.trimmed().toInt(&ok);
    if (!ok) return {};
    out.push_back(v);
  }
  return out;
}

QCommandLineOption Hidden(const QString& name, const QString& value) {
  QCommandLineOption o(name, QString(), value);
  o.setFlags(QCommandLineOption::HiddenFromHelp);
  return o;
}

}  // namespace

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  QApplication::setApplicationName(QStringLiteral("Lumetra32"));
  QApplication::setOrganizationName(QStringLiteral("Lumetra"));

  QCommandLineParser parser;
  parser.setApplicationDescription(QStringLiteral("Lumetra: single-molecule fluorescence records"));
  parser.addHelpOption();
  parser.addPositionalArgument(QStringLiteral("record"), QStringLiteral("an .xkv or .tif record to open"));
  const QCommandLineOption frame = Hidden(QStringLiteral("frame"), QStringLiteral("N"));
  const QCommandLineOption region = Hidden(QStringLiteral("region"), QStringLiteral("L,T,R,B"));
  const QCommandLineOption line = Hidden(QStringLiteral("line"), QStringLiteral("X0,Y0,X1,Y1"));
  const QCommandLineOption shot = Hidden(QStringLiteral("screenshot"), QStringLiteral("FILE"));
  const QCommandLineOption zoom = Hidden(QStringLiteral("zoom"), QStringLiteral("Z"));
  QCommandLineOption tracking(QStringLiteral("tracking"));
  tracking.setFlags(QCommandLineOption::HiddenFromHelp);
  QCommandLineOption link(QStringLiteral("link"));
  link.setFlags(QCommandLineOption::HiddenFromHelp);
  QCommandLineOption steps(QStringLiteral("steps"));
  steps.setFlags(QCommandLineOption::HiddenFromHelp);
  const QCommandLineOption auto_track(
      QStringLiteral("auto-track"),
      QStringLiteral("Track the record unattended with the stored settings (Lumetra.ini), write "
                     "its XKI file beside it under the batch name and quit."));
  parser.addOptions({frame, region, line, shot, zoom, tracking, link, steps, auto_track});
  parser.process(app);

  lumetra::TMainForm form;
  form.show();
  const QStringList paths = parser.positionalArguments();
  if (parser.isSet(auto_track)) {
    if (paths.isEmpty()) {
      std::fputs("lumetra: --auto-track needs a record\n", stderr);
      return 1;
    }
    // A record that does not open is said in a box by the loader; unattended, on stderr.
    lumetra::CollectingReporter opening;
    form.Messages().log = &opening;
    const bool opened = form.OpenRecord(paths.first());
    form.Messages().log = nullptr;
    if (!opened) {
      for (const std::string& text : opening.Texts())
        std::fprintf(stderr, "lumetra: %s\n", text.c_str());
      return 1;
    }
    // Once the window is up (and has read Lumetra.ini).
    QTimer::singleShot(0, &form, [&form] {
      const bool ok = form.AutoTrack();
      const std::string row = lumetra::SummaryText(form.LastBatchResults());
      std::fputs(row.c_str(), ok ? stdout : stderr);
      form.close();
      QApplication::exit(ok ? 0 : 1);
    });
    return app.exec();
  }
  if (!paths.isEmpty() && form.OpenRecord(paths.first())) {
    if (parser.isSet(frame)) form.FrameTrackBarChange(parser.value(frame).toInt());
    const std::vector<int> r = Numbers(parser.value(region));
    if (r.size() == 4) form.SetRegion(lumetra::Region{r[0], r[1], r[2], r[3], true});
    const std::vector<int> l = Numbers(parser.value(line));
    if (l.size() == 4) form.SetLine(lumetra::ProfileLine{l[0], l[1], l[2], l[3]});
    for (int z = 1; z < parser.value(zoom).toInt() && z < 30; ++z) form.ZoomInClick();
    if (parser.isSet(tracking)) {
      // The tracking window after a whole Detect pass: the screenshot shows it.
      form.SpotingClick();
      if (form.SpotForm()) {
        form.SpotForm()->DetectClick();
        form.SpotForm()->FinishPlayback();
        if (parser.isSet(link)) {
          form.SpotForm()->LinkTracksClick();
          form.SpotForm()->FinishPlayback();
        }
      }
    }
    if (parser.isSet(steps)) {
      // The step window after Detect, Tracking and the S-test, each pass played
      // through the main window; each starts when the one before has ended.
      form.DetectingClick();
      if (lumetra::TDetectForm* d = form.DetectForm()) {
        auto stage = std::make_shared<int>(0);
        const QString file = parser.value(shot);
        QObject::connect(&form, &lumetra::TMainForm::PlaybackFinished, d, [d, stage, file] {
          if (++*stage == 1) {
            QTimer::singleShot(0, d, [d] { d->CollectClick(); });
          } else if (*stage == 2) {
            QTimer::singleShot(0, d, [d] { d->ShowStestClick(); });
            if (!file.isEmpty())
              QTimer::singleShot(1500, d, [d, file] {
                d->grab().save(file);
                QApplication::quit();
              });
          }
        });
        d->StartTrClick();
      }
    }
  }
  if (parser.isSet(shot) && !(parser.isSet(steps) && form.DetectForm())) {
    const QString file = parser.value(shot);
    QTimer::singleShot(1500, &form, [&form, file] {
      QWidget* shown = form.SpotForm() ? static_cast<QWidget*>(form.SpotForm()) : &form;
      shown->grab().save(file);
      // Leaves without closing the windows: nothing is asked for.
      QApplication::exit(0);
    });
  }
  return app.exec();
}
