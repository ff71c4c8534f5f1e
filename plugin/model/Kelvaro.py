"""The module Kelvaro in plain Python 2.7, as a model to compare the extension module with.

Every import, value, function and statement stands on the source line that tracebacks of the
extension module name, so the two can be compared entry by entry; keep the lines where they are.
The tables of the two action maps run over several lines and count as their first line.
"""

from Components.ActionMap import ActionMap
from Components.Console import Console
from Components.config import config
from Components.GUIComponent import GUIComponent
from Components.Ipkg import IpkgComponent
from Components.Label import Label
from Components.Pixmap import Pixmap
from Components.ScrollLabel import ScrollLabel
from Components.Sources.StaticText import StaticText
from Components.Sources.List import List
from Screens.ChoiceBox import ChoiceBox
from Screens.Screen import Screen
from Screens.Ipkg import Ipkg
from Screens.MessageBox import MessageBox
from Tools.BoundFunction import boundFunction
from Tools.Directories import *
from Tools.LoadPixmap import LoadPixmap
from Tools.Notifications import AddNotificationWithCallback
from skin import loadSkin
from os import path as os_path, remove
from UpgradeZirk import UpdatePlugin
from Tools.HardwareInfoVu import HardwareInfoVu
from enigma import getZirkVersionString, eTimer
import xml.dom.minidom
from xml.dom.minidom import Node
from cPickle import dump, load
import urllib2

packagetmpfile = "/tmp/.package.tmp"
cache_file = "/tmp/.updatecache"
vumodel = HardwareInfoVu().get_device_name()
packageinstalledfile = "/tmp/.installed"

def getInstalled():
    inst_packages = []
    cmd = "/usr/bin/opkg list-installed | cut -f'0' -d ' ' > " + packageinstalledfile
    __os_function__("system")(cmd)
    if os_path.exists(packageinstalledfile):
        with open(packageinstalledfile, "rb") as fd:
            inst_packages = fd.read().splitlines()
        remove(packageinstalledfile)
    return inst_packages

def getHeader():
    imageversion = getZirkVersionString()
    ret = "Zirk " + imageversion + " (Vu+ "
    if vumodel == "duo":
        ret += "Duo)\n"
    elif vumodel == "solo":
        ret += "Solo)\n"
    elif vumodel == "uno":
        ret += "Uno)\n"
    elif vumodel == "ultimo":
        ret += "Ultimo)\n"
    elif vumodel == "solo2":
        ret += "Solo2)\n"
    elif vumodel == "duo2":
        ret += "Duo2)\n"
    elif vumodel == "solose":
        ret += "Solo SE)\n"
    elif vumodel == "zero":
        ret += "zero)\n"
    elif vumodel == "solo4k":
        ret += "Solo 4K)\n"
    elif vumodel == "ultimo4k":
        ret += "Ultimo 4K)\n"
    elif vumodel == "uno4k":
        ret += "Uno 4K)\n"
    elif vumodel == "uno4kse":
        ret += "Uno 4K SE)\n"
    elif vumodel == "zero4k":
        ret += "Zero 4K)\n"
    elif vumodel == "duo4k":
        ret += "Duo 4K)\n"
    elif vumodel == "duo4kse":
        ret += "Duo 4K SE)\n"
    return ret

header = getHeader()

def write_cache(cache_data):
    if not os_path.isdir(os_path.dirname(cache_file)):
        try:
            __os_function__("mkdir")(os_path.dirname(cache_file))
        except OSError:
            pass
    fd = open(cache_file, "w")
    dump(cache_data, fd, -1)
    fd.close()

def load_cache():
    fd = open(cache_file)
    cache_data = load(fd)
    fd.close()
    return cache_data

def newsURL(f_name="zirknews.xml"):
    fd = open("/etc/opkg/all-feed.conf", "r")
    url = fd.readline().strip("src/gz Zirk-all ")
    fd.close()
    url = url.strip()
    url = url.replace("all", f_name)
    return url

def skip_entry(entry):
    if entry.hasAttribute("require"):
        require = entry.getAttribute("require").split(",")
        if require and vumodel not in require:
            return True
    return False

def getDownloadStats():
    url = newsURL("zirkdlstat.txt")
    try:
        news = urllib2.urlopen(url, None, 5.0).read()
    except urllib2.HTTPError:
        return None
    except urllib2.URLError:
        return None
    return news


def parse_xml():
    list = []
    url = newsURL()
    try:
        news = urllib2.urlopen(url, None, 5.0).read()
    except urllib2.HTTPError:
        return 2
    except urllib2.URLError:
        return 3
    try:
        xmldoc = xml.dom.minidom.parseString(news)
    except xml.parsers.expat.ExpatError:
        return 3
    for node in xmldoc.getElementsByTagName("update"):
        if skip_entry(node):
            continue
        update_type = "normal"
        if node.hasAttribute("type"):
            update_type = node.getAttribute("type")
        title = node.getElementsByTagName("title")
        update_title = title[0].firstChild.data
        p_item_list = node.getElementsByTagName("item")
        update_list = []
        for entry in p_item_list:
            if skip_entry(entry):
                continue
            update_item = None
            for my_item in entry.getElementsByTagName("itemtext"):
                if my_item.firstChild:
                    update_item = my_item.firstChild.data
            p_subitem_list = []
            for topic in entry.getElementsByTagName("description"):
                if topic.firstChild and not skip_entry(topic):
                    topic_description = topic.firstChild.data
                    p_subitem_list.append(topic_description)
            update_list.append((update_item, p_subitem_list))
        list.append((update_title, update_list, update_type))
    xmldoc.unlink()
    write_cache(list)
    list = None
    return 1


# The news browser: one row per news entry, with colour keys for updates and popular packages.


class AllNews(Screen):
    def __init__(self, session, plugin_path, args=0):
        Screen.__init__(self, session)
        self.skinName = ["AllNews", "BackupSuite"]
        self.skin_path = plugin_path
        self.session = session
        self.title = _("News about ZIRK")
        self["title"] = StaticText(self.title)
        self.png_normal = LoadPixmap(cached=True, path=resolveFilename(SCOPE_PLUGINS, "SystemPlugins/ZIRKPanel/pictures/update_normal.png"))
        self.png_info = LoadPixmap(cached=True, path=resolveFilename(SCOPE_PLUGINS, "SystemPlugins/ZIRKPanel/pictures/update_info.png"))
        self.png_urgent = LoadPixmap(cached=True, path=resolveFilename(SCOPE_PLUGINS, "SystemPlugins/ZIRKPanel/pictures/update_urgent.png"))
        self.list = [("loading", _("Please wait ..."), self.png_info)]
        self["menu"] = List(self.list)
        self["status"] = Label()
        self["header"] = Label(header)
        self["key_red"] = StaticText(_("Exit"))
        self["key_green"] = StaticText(_("Update"))
        self["key_blue"] = StaticText(_("show Updates"))
        self["key_yellow"] = StaticText(_("Top 20"))
        self["key_info"] = StaticText()
        self["shortcuts"] = ActionMap(["SetupActions", "ColorActions"],
            {
                "ok": self.runMenuEntry,
                "cancel": self.keyCancel,
                "green": self.greenKey,
                "red": self.keyCancel,
                "blue": self.blueKey,
                "yellow": self.keyYellow,
            }, -2)
        self.onLayoutFinish.append(self.setMenu)

    # "Top 20": the most downloaded packages of the feed, by category.
    #
    # Sections of the statistics are counted: 0 before any section line, 1 extensions,
    # 2 system plugins, 3 skins. A choice is the pair (label, action key); the key is the
    # full package name and ends in "_install" or "_installed", which says what a choice of
    # it will do. The flow is category, package, installer, and then the categories again.


    def keyYellow(self):
        stats = getDownloadStats()
        if stats is None:
            return
        lines = stats.split("\n")
        self.extensions = []
        self.systemplugins = []
        self.skins = []
        installed = getInstalled()
        section = 0
        for line in lines:
            if line == "EXTENSIONS":
                section = 1
            elif line == "SYSTEMPLUGINS":
                section = 2
            elif line == "SKINS":
                section = 3
            else:
                fields = line.split(";")
                if len(fields) < 2:
                    continue
                name = fields[0].title()
                package = "enigma2-plugin-"
                if section == 1:
                    package += "extensions-"
                elif section == 2:
                    package += "systemplugins-"
                elif section == 3:
                    package += "skin-"
                package += fields[0]
                count = fields[1]
                action = " - " + _("Remove")
                if package not in installed:
                    action = " - " + _("Install")
                    package += "_install"
                else:
                    package += "_installed"
                label = name + "   (" + str(count) + ")" + action
                if section == 1:
                    self.extensions.append((label, package))
                elif section == 2:
                    self.systemplugins.append((label, package))
                elif section == 3:
                    self.skins.append((label, package))
        self.c_l = []
        if self.extensions:
            self.c_l.append((_("Extensions"), "extensions"))
        if self.systemplugins:
            self.c_l.append((_("Systemplugins"), "systemplugins"))
        if self.skins:
            self.c_l.append((_("Skins"), "skins"))
        self.selectTop()


    def selectTop(self):
        self.session.openWithCallback(self.gotTopSelection, ChoiceBox, title=_("Top 20"), list=self.c_l, keys=False)

    def gotTopSelection(self, ret):
        choices = []
        suffix = ""
        if ret is not None:
            if ret[1] == "extensions":
                choices = self.extensions
                suffix = " - " + _("Extensions")
            elif ret[1] == "skins":
                choices = self.skins
                suffix = " - " + _("Skins")
            elif ret[1] == "systemplugins":
                choices = self.systemplugins
                suffix = " - " + _("Systemplugins")
        if choices:
            self.session.openWithCallback(self.exitChoiceBox, ChoiceBox, title=_("Top 20") + suffix, list=choices, keys=False)

    def exitChoiceBox(self, ret):
        if ret is None or len(ret) != 2:
            self.selectTop()
            return
        cmdList = [(IpkgComponent.CMD_UPDATE, None)]
        if ret[1].endswith("_installed"):
            cmdList.append((IpkgComponent.CMD_REMOVE, {"package": "--force-depends --autoremove " + ret[1].replace("_installed", "")}))
        elif ret[1].endswith("_install"):
            cmdList.append((IpkgComponent.CMD_INSTALL, {"package": ret[1].replace("_install", "")}))
        self.session.openWithCallback(self.ipkg_action_finished, Ipkg, cmdList=cmdList)

    def ipkg_action_finished(self, ret=None):
        self.keyYellow()

    def greenKey(self):
        self.session.open(UpdatePlugin)

    def blueKey(self):
        self.runMenuEntry(show_upgradable=True)

    def setMenu(self):
        self.delayTimer = eTimer()
        self.delayTimer.start(100, True)
        self.delayTimer.callback.append(self.createMenu)

    # No message is chosen for a code above 3: the message box then has an unbound name.
    def createMenu(self):
        self.list = []
        code = parse_xml()
        if code == 1:
            for entry in load_cache():
                kind = str(entry[2])
                png = self.png_normal
                if kind == "urgent":
                    png = self.png_urgent
                elif kind == "info":
                    png = self.png_info
                self.list.append((entry, str(entry[0]), png))
        elif code == 2:
            message = _("It seems that your Internet connection is not ok, please check it")
        elif code == 3:
            message = _("The news file can not be analyzed, please be patient and try again later")
        self["menu"].updateList(self.list)
        if code > 1:
            self.session.open(MessageBox, message, MessageBox.TYPE_ERROR, timeout=30)


    # The test is meant to be this loose: the placeholder row opens the detail screen too.
    def runMenuEntry(self, show_upgradable=False):
        idx = self["menu"].getIndex()
        if idx or len(self.list) != 0:
            self.session.openWithCallback(self.setMenuIndex, ZirkUpdateInfo, idx, show_upgradable)

    def setMenuIndex(self, idx=0):
        self["menu"].setIndex(idx)

    def keyCancel(self):
        self.list = None
        for path in (packagetmpfile, cache_file):
            if fileExists(path):
                remove(path)
        self.close()

class ZirkUpdateInfo(Screen):
    def __init__(self, session, idx=0, show_upgradable=False):
        self.session = session
        Screen.__init__(self, session)
        self.skinName = ["ZirkUpdateInfo"]
        self.title = _("News about ZIRK")
        try:
            self["title"] = StaticText(self.title)
        except:
            pass
        self.Console = None
        self.list = load_cache()
        self.idx = idx
        self.infotxt = self.list[self.idx]
        self["update"] = ScrollLabel(self.getNews())
        self["header"] = Label(self.getHeaderWithDate())
        self["key_red"] = StaticText(_("Close"))
        self["key_green"] = StaticText(_("Update"))
        self["key_yellow"] = StaticText(_(" "))
        self["key_blue"] = StaticText(_("show Updates"))
        self["actions"] = ActionMap(["ColorActions", "SetupActions", "EventViewActions"],
            {
                "red": self.closeNews,
                "green": self.greenPressed,
                "yellow": self.yellowPressed,
                "blue": self.bluePressed,
                "cancel": self.closeNews,
                "nextEvent": self.prevUpdate,
                "prevEvent": self.nextUpdate,
                "pageUp": self.pageUp,
                "pageDown": self.pageDown,
            }, -1)
        if show_upgradable:
            self.bluePressed()

    # Any other kind than the three leaves `ret` unbound, and the call fails with it.
    def getText(self, what):
        self.what = what
        if self.what == "news":
            ret = self.getNews()
        elif self.what == "updates":
            ret = self.getUpdates()
        elif self.what == "header":
            ret = self.getHeaderWithDate()
        return ret

    def bluePressed(self):
        try:
            self["title"].setText(_("Upgradable Packages"))
        except Exception:
            pass
        self["key_blue"].setText(_(" "))
        self["key_yellow"].setText(_("show News"))
        self["update"].setText(_("Please wait ..."))
        self.getUpdates()

    def yellowPressed(self):
        try:
            self["title"].setText(_("News about ZIRK"))
        except Exception:
            pass
        self["key_blue"].setText(_("show Updates"))
        self["key_yellow"].setText(_(" "))
        self["update"].setText(self.getText("news"))

    def pageUp(self):
        self["update"].pageUp()

    def pageDown(self):
        self["update"].pageDown()

    def nextUpdate(self):
        if self.idx + 1 < len(self.list):
            self.idx += 1
            self.updateText()

    def prevUpdate(self):
        if self.idx != 0:
            self.idx += -1
            self.updateText()

    def updateText(self):
        self.infotxt = self.list[self.idx]
        self["update"].setText(self.getNews())
        self["header"].setText(self.getHeaderWithDate())
        self["key_blue"].setText(_("show Updates"))
        self["key_yellow"].setText(_(" "))

    def greenPressed(self):
        self.session.open(UpdatePlugin)

    def closeNews(self):
        if self.Console is not None:
            if self.Console.appContainers:
                for name in self.Console.appContainers.keys():
                    self.Console.kill(name)
        self.list = None
        self.close(self.idx)

    def getNews(self):
        text = ""
        if self.infotxt[1]:
            for item in self.infotxt[1]:
                text += "* " + str(item[0]) + "\n"
                if item[1]:
                    for topic in item[1]:
                        text += "    - " + str(topic) + "\n"
                    text += "\n"
        return text

    def getHeaderWithDate(self):
        text = header + self.infotxt[0]
        return str(text)

    def getUpdates(self):
        if not fileExists(packagetmpfile):
            self.Console = Console()
            cmd = "opkg update"
            self.Console.ePopen(cmd, self.opkg_update_finished)
        else:
            self.opkg_upgrade_finished(result=None, retval=0)

    def opkg_update_finished(self, result, retval, extra_args=None):
        if not self.Console:
            self.Console = Console()
        cmd = "opkg list-upgradable > %s" % packagetmpfile
        self.Console.ePopen(cmd, self.opkg_upgrade_finished)

    def opkg_upgrade_finished(self, result, retval, extra_args=None):
        if fileExists(packagetmpfile):
            fd = open(packagetmpfile, "r")
            lines = fd.readlines()
            fd.close()
            text = ""
            for line in lines:
                parts = line.split(" - ")
                if len(parts) < 3:
                    continue
                name = parts[0].strip()
                oldversion = parts[1].strip()
                newversion = parts[2].strip()
                if name == "":
                    continue
                text += _("\nPackage : %s \nold version : %s \nnew version : %s\n") % (name, oldversion, newversion)
            if text == "":
                text = _("\nYour System is up to date")
            else:
                config.usage.update_available.value = True
        else:
            text = _("It seems that your Internet connection is not ok, please check it")
        self["update"].setText(text)


class UpdateNotification:
    def setSession(self, session, plugin_path):
        self.session = session
        self.plugin_path = plugin_path

    def show_Kelvaro(self, res):
        if config.usage.check_for_updates.value > 0:
            interval = config.usage.check_for_updates.value * 1000 * 3600
            self.update_timer.start(interval, True)
        if res:
            fd = open(packagetmpfile, "w+")
            fd.write(self.upgradable_packages)
            fd.close()
            self.session.open(AllNews, self.plugin_path)

    def check_updates(self):
        self.Console = Console()
        cmd = "opkg update"
        self.Console.ePopen(cmd, self.opkg_update_finished)

    def opkg_update_finished(self, result, retval, extra_args=None):
        if not self.Console:
            self.Console = Console()
        cmd = "opkg list-upgradable"
        self.Console.ePopen(cmd, self.opkg_upgrade_finished)

    def opkg_upgrade_finished(self, result, retval, extra_args=None):
        update_found = False
        if result:
            pieces = result.split("\n", 10)
            if pieces:
                for piece in pieces:
                    if len(piece.split(" - ")) >= 3:
                        update_found = True
                        break
        if update_found:
            self.upgradable_packages = result
            config.usage.update_available.value = True
            if config.usage.show_notification_for_updates.value:
                message = _("There are updates available.\nDo you want to open Software Update menu ?")
                AddNotificationWithCallback(boundFunction(self.show_Kelvaro), MessageBox, message, timeout=0)
            else:
                self.show_Kelvaro(res=None)
        else:
            config.usage.update_available.value = False
            if config.usage.check_for_updates.value > 0:
                interval = config.usage.check_for_updates.value * 1000 * 3600
                self.update_timer.start(interval, True)


    # The host arms the first check; every later one is armed at the end of a cycle.
    def init_timer(self):
        self.update_timer = eTimer()
        self.update_timer.callback.append(self.check_updates)
        self.update_timer.start(60000, True)

update_notification = UpdateNotification()


def __os_function__(name):
    # `system` and `mkdir` may come with the names of Tools.Directories; else they are os's own.
    # A name of the builtins counts as everywhere.
    try:
        return eval(name, globals())
    except NameError:
        return getattr(__import__("os"), name)
