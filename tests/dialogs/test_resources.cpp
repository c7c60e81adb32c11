#include <algorithm>
#include <cmath>

#include <QDir>
#include <QImage>
#include <QResource>
#include <QTest>

using namespace Qt::StringLiterals;

// Links vornix_dialogs without using any of its symbols. The pictures must still be linked in.
class TestResources : public QObject
{
    Q_OBJECT

private slots:
    void logoHasItsSize();
    void logoContrastsWithLightAndDark_data();
    void logoContrastsWithLightAndDark();
    void logoIsTheOnlyImage();
    void logoIsStoredUncompressed();
    void iconIsSquareAndShowsTheMark();
};

namespace {

// A large shape is distinguishable from its background at a contrast of 2:1 or more. The logo keeps
// a margin above that on both backgrounds.
constexpr double kLeastContrast = 2.3;

QImage logo()
{
    return QImage(u":/images/vornix_logo_small.png"_s);
}

// Relative luminance of a screen colour for the contrast formula, 0 to 1.
double luminance(QRgb rgb)
{
    const auto linear = [](int channel) { return std::pow(channel / 255.0, 2.2); };
    return 0.2126 * linear(qRed(rgb)) + 0.7152 * linear(qGreen(rgb)) + 0.0722 * linear(qBlue(rgb));
}

double contrast(double a, double b)
{
    return (std::max(a, b) + 0.05) / (std::min(a, b) + 0.05);
}

} // namespace

void TestResources::logoHasItsSize()
{
    QCOMPARE(logo().size(), QSize(172, 100));
    QVERIFY(logo().hasAlphaChannel());
    QCOMPARE(qAlpha(logo().pixel(0, 99)), 0);
}

void TestResources::logoContrastsWithLightAndDark_data()
{
    QTest::addColumn<QColor>("background");
    QTest::newRow("white") << QColor(Qt::white);
    QTest::newRow("dark window") << QColor(0x35, 0x35, 0x35);
}

void TestResources::logoContrastsWithLightAndDark()
{
    QFETCH(QColor, background);
    const QImage small = logo().scaled(60, 35, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    const double behind = luminance(background.rgb());
    int solid = 0;
    for (int y = 0; y < small.height(); ++y) {
        for (int x = 0; x < small.width(); ++x) {
            const QRgb pixel = small.pixel(x, y);
            if (qAlpha(pixel) < 250)
                continue;
            ++solid;
            QVERIFY2(contrast(luminance(pixel), behind) > kLeastContrast,
                     qPrintable(u"%1, %2"_s.arg(x).arg(y)));
        }
    }
    QVERIFY(solid > 200);
}

void TestResources::logoIsTheOnlyImage()
{
    QCOMPARE(QDir(u":/images"_s).entryList(), QStringList{u"vornix_logo_small.png"_s});
}

void TestResources::logoIsStoredUncompressed()
{
    const QResource resource(u":/images/vornix_logo_small.png"_s);
    QVERIFY(resource.isValid());
    QCOMPARE(resource.compressionAlgorithm(), QResource::NoCompression);
    QCOMPARE(QByteArray(reinterpret_cast<const char *>(resource.data()), 8),
             QByteArray("\x89PNG\r\n\x1a\n", 8));
}

void TestResources::iconIsSquareAndShowsTheMark()
{
    const QImage icon(u":/icons/vornix.png"_s);
    QCOMPARE(icon.size(), QSize(256, 256));
    const auto isOrange = [](QRgb pixel) { return qAlpha(pixel) == 255 && qRed(pixel) > 200; };
    QVERIFY(isOrange(icon.pixel(128, 100)));
    QVERIFY(isOrange(logo().pixel(86, 30)));
}

QTEST_MAIN(TestResources)
#include "test_resources.moc"
