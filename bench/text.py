"""Figures and tables as text."""


def seconds(value):
    for unit, factor in (("s", 1), ("ms", 1e3), ("us", 1e6)):
        if value * factor >= 0.9995:
            return f"{value * factor:.3g} {unit}"
    return f"{value * 1e9:.3g} ns"


def rate(value):
    return f"{value:,.0f}/s"


def size(value):
    if abs(value) >= 10e6:
        return f"{value / 1e6:,.1f} MB"
    return f"{value / 1e3:,.0f} kB" if abs(value) >= 10e3 else f"{value:,.0f} B"


def ratio(value):
    return f"{value:.3f}" if value < 10 else f"{value:,.0f}"


def table(rows, align):
    """Lines of cells: align has < or > for each column. A row that is a text stands alone."""
    widths = [max(len(row[i]) for row in rows if not isinstance(row, str))
              for i in range(len(align))]
    for row in rows:
        if isinstance(row, str):
            yield row
        else:
            yield "  ".join(f"{cell:{side}{width}}" for cell, side, width
                            in zip(row, align, widths)).rstrip()
