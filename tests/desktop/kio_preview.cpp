// Asks KIO for a file's thumbnail exactly as Dolphin does, through a preview job and KIO's thumbnail
// worker, and saves it: kio_preview FILE SIZE OUT.png. Exit 0 with the picture, 1 when KIO made none.
#include <KFileItem>
#include <KIO/PreviewJob>
#include <QGuiApplication>
#include <QImage>
#include <QPixmap>
#include <QUrl>

#include <cstdio>

int main(int argc, char** argv) {
  QGuiApplication app(argc, argv);
  if (argc != 4) {
    std::fprintf(stderr, "usage: kio_preview FILE SIZE OUT.png\n");
    return 2;
  }
  const int size = QString::fromLocal8Bit(argv[2]).toInt();
  const QString out = QString::fromLocal8Bit(argv[3]);
  KFileItem item(QUrl::fromLocalFile(QString::fromLocal8Bit(argv[1])));
  item.determineMimeType();
  // Every plugin KIO knows, as in Dolphin's default settings.
  const QStringList plugins = KIO::PreviewJob::availablePlugins();
  auto* job = KIO::filePreview(KFileItemList{item}, QSize(size, size), &plugins);
  job->setScaleType(KIO::PreviewJob::Unscaled);
  int status = 1;
  QObject::connect(job, &KIO::PreviewJob::gotPreview, [&](const KFileItem&, const QPixmap& preview) {
    status = preview.toImage().save(out, "PNG") ? 0 : 1;
  });
  QObject::connect(job, &KIO::PreviewJob::failed, [&](const KFileItem& failed) {
    std::fprintf(stderr, "kio_preview: no preview for %s (%s)\n", argv[1], qPrintable(failed.mimetype()));
  });
  QObject::connect(job, &KJob::result, &app, &QCoreApplication::quit);
  app.exec();
  return status;
}
