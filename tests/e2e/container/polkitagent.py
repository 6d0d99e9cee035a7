"""An authentication agent that answers in an administrator's place."""

import threading
import time

from gi.repository import Gio, GLib

POLKIT = "org.freedesktop.PolicyKit1"
AUTHORITY = "/org/freedesktop/PolicyKit1/Authority"
PATH = "/agent"
INTERFACE = Gio.DBusNodeInfo.new_for_xml(
    """<node><interface name="org.freedesktop.PolicyKit1.AuthenticationAgent">
    <method name="BeginAuthentication">
      <arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="s" direction="in"/>
      <arg type="a{ss}" direction="in"/><arg type="s" direction="in"/>
      <arg type="a(sa{sv})" direction="in"/>
    </method>
    <method name="CancelAuthentication"><arg type="s" direction="in"/></method>
    </interface></node>"""
).interfaces[0]


class ScriptedAgent:
    """The agent of a session. Root runs it, so that it needs no password."""

    def __init__(self, session, consents):
        self.questions = []  # the actions that were asked for
        self.asked = []  # the user ids of the administrators who could have answered
        self.consented = None  # when
        self._consents = consents
        self._context = GLib.MainContext.new()
        self._loop = GLib.MainLoop.new(self._context, False)
        self._bus = Gio.DBusConnection.new_for_address_sync(
            Gio.dbus_address_get_for_bus_sync(Gio.BusType.SYSTEM),
            Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT
            | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION,
        )
        self._register(session)
        self._thread = threading.Thread(target=self._loop.run)
        self._thread.start()

    def end(self):
        self._loop.quit()
        self._thread.join()
        self._bus.close_sync()

    def _register(self, session):
        self._context.push_thread_default()
        self._bus.register_object(PATH, INTERFACE, self._called, None, None)
        self._context.pop_thread_default()
        subject = ("unix-session", {"session-id": GLib.Variant("s", session)})
        words = GLib.Variant("((sa{sv})ss)", (subject, "C.UTF-8", PATH))
        self._ask("RegisterAuthenticationAgent", words)

    def _ask(self, method, words):
        interface = f"{POLKIT}.Authority"
        flags = Gio.DBusCallFlags.NONE
        self._bus.call_sync(POLKIT, AUTHORITY, interface, method, words, None, flags, -1)

    def _called(self, _bus, _sender, _path, _interface, method, words, invocation):
        if method == "BeginAuthentication" and not self._begin(words):
            invocation.return_dbus_error(f"{POLKIT}.Error.Cancelled", "dismissed")
        else:
            invocation.return_value(None)

    def _begin(self, words):
        action, _message, _icon, _details, cookie, identities = words.unpack()
        self.asked.append([details["uid"] for _kind, details in identities])
        self.questions.append(action)
        if not self._consents:
            return False
        first = words.get_child_value(5).get_child_value(0)
        self.consented = time.monotonic()
        # The newer call also passes a user; which one depends on the release of polkit.
        answer = [GLib.Variant("s", cookie), first]
        self._ask("AuthenticationAgentResponse", GLib.Variant.new_tuple(*answer))
        return True
