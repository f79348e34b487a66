"""Draws lines over the number of properties as SVG, with two logarithmic axes. The colours have medium
brightness and there is no background, so that the picture is readable on light and on dark pages."""
import math

WIDTH, HEIGHT, LEFT, RIGHT, TOP, BOTTOM = 760, 440, 70, 150, 40, 50
COLOURS = {"register": "#e0452f", "map": "#808080", "bytes": "#808080", "qsettings": "#3f9c35",
           "kconfig": "#2f80d8", "gkeyfile": "#b07d00", "propertytree": "#a259c4", "lmdb": "#00929a",
           "sqlite": "#d0558f"}
GREY = "#808080"


def draw(title, lines, tick):
    """`lines`: store -> (label, [(count, value), ...]); `tick` formats a value of the vertical axis."""
    points = [point for _, line in lines.values() for point in line]
    low_x, high_x = (math.log10(pick(count for count, _ in points)) for pick in (min, max))
    low_y = math.log10(min(value for _, value in points)) - .1
    high_y = math.log10(max(value for _, value in points)) + .1

    def x(count):
        return LEFT + (math.log10(count) - low_x) / (high_x - low_x) * (WIDTH - LEFT - RIGHT)

    def y(value):
        return TOP + (high_y - math.log10(value)) / (high_y - low_y) * (HEIGHT - TOP - BOTTOM)

    def text(at_x, at_y, content, anchor="middle", colour=GREY, weight="normal"):
        return (f'<text x="{at_x:.1f}" y="{at_y:.1f}" text-anchor="{anchor}" fill="{colour}" '
                f'font-weight="{weight}">{content}</text>')

    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" width="{WIDTH}" '
             f'height="{HEIGHT}" font-family="sans-serif" font-size="13">', f"<title>{title}</title>",
             text(LEFT, 20, title, "start", weight="bold")]
    steps = (1, 2, 5) if high_y - low_y < 3 else (1,)
    for value in (step * 10 ** power for power in range(math.floor(low_y), math.ceil(high_y)) for step in steps):
        if low_y <= math.log10(value) <= high_y:
            at = y(value)
            parts += [f'<path d="M{LEFT} {at:.1f}H{WIDTH - RIGHT}" stroke="{GREY}" stroke-opacity=".35"/>',
                      text(LEFT - 8, at + 4, tick(value), "end")]
    for count in sorted({count for count, _ in points}):
        parts.append(text(x(count), HEIGHT - BOTTOM + 20, f"{count:,}"))
    parts.append(text((LEFT + WIDTH - RIGHT) / 2, HEIGHT - 8, "properties"))

    label_at = -math.inf  # a label is at the end of its line, or just below the label above it
    for store, (label, line) in sorted(lines.items(), key=lambda item: -item[1][1][-1][1]):
        colour, width = COLOURS[store], 3.5 if store == "register" else 1.8
        path = "L".join(f"{x(count):.1f} {y(value):.1f}" for count, value in line)
        parts.append(f'<path d="M{path}" fill="none" stroke="{colour}" stroke-width="{width}"/>')
        end_x, end_y = x(line[-1][0]), y(line[-1][1])
        label_at = max(end_y, label_at + 15)
        parts += [f'<path d="M{end_x:.1f} {end_y:.1f}L{end_x + 12:.1f} {label_at:.1f}" stroke="{colour}"/>',
                  text(end_x + 15, label_at + 4, label, "start", colour,
                       "bold" if store == "register" else "normal")]
    return "\n".join(parts + ["</svg>"]) + "\n"
