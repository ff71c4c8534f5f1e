"""A laid-out screen as plain data: the form of a layout file, and what it shows besides."""

import skin
from painting.pictures import picture
from painting.screen import SCROLLBAR_WIDTH, common

_BASE = ("font", "foreground", "background", "halign", "valign", "pixmap", "alphatest")
_FLAGS = ("noWrap", "transparent", "scale")
_LIST = ("foregroundSelected", "backgroundSelected", "selectionPixmap", "backgroundPixmap")
_BAR = {"width": "scrollbarWidth", "border": "scrollbarSliderBorderWidth",
        "foreground": "scrollbarSliderForegroundColor", "borderColor": "scrollbarSliderBorderColor",
        "picture": "scrollbarSliderPicture", "background": "scrollbarBackgroundPicture"}
_DRAWS = {"label": "label", "scroll": "scroll", "list": "list", "strings": "list",
          "picture": "picture", "slider": "bar", "television": "television"}


def layout(screen):
    """What `screen` looks like now, in the form of a layout file.

    An element's further keys say what stands there and shows what: "draws", one of label, scroll
    (with "top" and "total", pixels), list (with "content", its rows, and "index"), picture, bar
    (with "value" and "range", None until set), television or None. It keeps all that the skin says.
    """
    look = screen.look
    names = screen.skinName if isinstance(screen.skinName, list) else [screen.skinName]
    elements = [_element(element) for element in screen.elements]
    in_order = sorted(range(len(elements)), key=lambda at: (elements[at]["zPosition"], at))
    for place, at in enumerate(in_order):
        elements[at]["paint"] = place
        above = [other for other in in_order[place + 1:] if _opaque(elements[other])]
        elements[at]["covered"] = any(
            _lies_over(elements[other]["final"], elements[at]["final"]) for other in above)
    return {
        "names": names, "layout": screen.layout,
        "skinSize": look["rect"][2:] if screen.layout else None,
        "rect": screen.instance.rect(), "frame": screen.instance.frame(),
        "title": screen.getTitle(),
        "flags": look["flags"],
        "background": look.get("background"), "transparent": look.get("transparent", False),
        "zPosition": look.get("zPosition", 0), "missing": sorted(screen.missing),
        "log": list(screen.log), "elements": elements}


def _element(element):
    """The dictionary of one element, without its place among the others."""
    instance, look = element.instance, element.look
    is_text = instance.kind in ("label", "scroll")
    described = dict(look)
    described.update((key, look.get(key)) for key in _BASE)
    described.update((key, look.get(key, False)) for key in _FLAGS)
    described.update(
        kind=element.kind, name=element.name, draws=_DRAWS.get(instance.kind),
        final=instance.rect(), visible=instance.isVisible(), pixels=skin.pixels(look.get("font")),
        # The host's scrolling text has no use for a zPosition.
        zPosition=0 if instance.kind == "scroll" else look.get("zPosition", 0),
        text=instance.getText() if is_text else None, log=list(element.log))
    if element.kind == "source":
        described.update(render=element.render, converters=element.converters)
    if "borderWidth" in look or "borderColor" in look:
        described["border"] = [look.get("borderWidth", 0), look.get("borderColor")]
    if "shadowColor" in look or "shadowOffset" in look:
        described["shadow"] = look.get("shadowOffset", [0, 0]) + [look.get("shadowColor")]
    if instance.kind in ("list", "strings", "scroll"):
        described["scrollbar"] = dict((key, look.get(name)) for key, name in _BAR.items())
    if instance.kind in ("list", "strings"):
        described.update(_list(element))
    elif instance.kind == "scroll":
        described.update(top=element.widget.scrolled(), total=element.widget.total)
    elif instance.kind == "slider":
        described.update(value=instance.value, range=instance.range)
    return described


def _list(element):
    instance, look = element.instance, element.look
    described = dict((key, look.get(key)) for key in _LIST)
    if element.kind == "source":
        template = dict(element.widget.source.template)
        template.pop("scrollbarMode")
    else:
        template = element.widget.template() if instance.kind == "list" else None
    return dict(
        described, template=template, itemHeight=instance.itemHeight, rows=instance.count(),
        scrollbarMode=instance.scrollbarMode,
        scrollbarWidth=look.get("scrollbarWidth", SCROLLBAR_WIDTH),
        index=instance.getCurrentIndex(), content=element.rows())


def _opaque(look):
    if not look["visible"] or look["transparent"]:
        return False
    if look["draws"] != "picture":
        return True
    found = picture(skin.path_of(look["pixmap"] or ""))
    return (found and look["alphatest"] in (None, "off")
            and [found.width, found.height] == look["final"][2:])


def _lies_over(above, below):
    return below[2] > 0 and below[3] > 0 and common(above, below) == below
