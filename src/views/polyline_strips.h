#pragma once

class QPainter;
class QPolygonF;

// A long antialiased line with a wide pen is slow in Qt's raster engine: it strokes the whole line
// to one outline and scans that again for every band of the picture. Drawing the line in strips of
// columns, each with only the vertices near it, gives the same pixels faster.

// True if drawPolylineInStrips() gives the same pixels as drawPolyline() and is faster: for an
// antialiased raster painter whose transform keeps x ascending.
bool canPaintInStrips(const QPainter &painter);

// Draws `points`, of ascending x, with the painter's cosmetic pen; the painter has no transform.
void drawPolylineInStrips(QPainter &painter, const QPolygonF &points);
