// Renders a drawing as a square PNG file, for desktops that want their icons in fixed sizes. Part of the
// build.
//
//   larkfold_render_icon DRAWING.svg PIXELS PICTURE.png

#include <QImage>
#include <QPainter>
#include <QString>
#include <QSvgRenderer>
#include <cstdio>

int main(int count, char** arguments) {
    const int pixels = count == 4 ? QString::fromLocal8Bit(arguments[2]).toInt() : 0;
    if (pixels <= 0) {
        std::fputs("usage: larkfold_render_icon DRAWING.svg PIXELS PICTURE.png\n", stderr);
        return 2;
    }
    QSvgRenderer drawing(QString::fromLocal8Bit(arguments[1]));
    QImage picture(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    drawing.render(&painter);
    painter.end();
    if (!drawing.isValid() || !picture.save(QString::fromLocal8Bit(arguments[3]), "PNG")) {
        std::fprintf(stderr, "larkfold_render_icon: %s could not be rendered to %s.\n", arguments[1],
                     arguments[3]);
        return 1;
    }
    return 0;
}
