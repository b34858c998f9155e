"""sessionManager: a desktop's session manager, made with the X session management library itself, in the test's process."""
import ctypes
import select
import threading

import outside

ICE = ctypes.CDLL("libICE.so.6")
SM = ctypes.CDLL("libSM.so.6")
Pointer, Int = ctypes.c_void_p, ctypes.c_int
# Kinds of saving: what others see of the client's work, its own state, or both.
GLOBAL, LOCAL, BOTH = 0, 1, 2

for function, result, arguments in (
        (ICE.IceGetListenConnectionNumber, Int, [Pointer]),
        (ICE.IceSetHostBasedAuthProc, None, [Pointer, Pointer]),
        (ICE.IceComposeNetworkIdList, ctypes.c_char_p, [Int, Pointer]),
        (ICE.IceAcceptConnection, Pointer, [Pointer, Pointer]),
        (ICE.IceConnectionNumber, Int, [Pointer]),
        (ICE.IceConnectionStatus, Int, [Pointer]),
        (ICE.IceProcessMessages, Int, [Pointer, Pointer, Pointer]),
        (ICE.IceSetIOErrorHandler, Pointer, [Pointer]),
        (ICE.IceFlush, Int, [Pointer]),
        (SM.SmsGetIceConnection, Pointer, [Pointer]),
        (ICE.IceFreeListenObjs, None, [Int, Pointer]),
        (SM.SmsRegisterClientReply, Int, [Pointer, ctypes.c_char_p]),
        (SM.SmsSaveYourself, None, [Pointer, Int, Int, Int, Int]),
        (SM.SmsShutdownCancelled, None, [Pointer]),
        (SM.SmsSaveComplete, None, [Pointer]),
        (SM.SmsDie, None, [Pointer])):
    function.restype, function.argtypes = result, arguments


class Callback(ctypes.Structure):
    _fields_ = [("function", Pointer), ("data", Pointer)]


class SessionManager:
    """One session with one client, served by a thread of its own until close()."""

    def __init__(self):
        self.client = None
        self.answers = 0
        self.kept = []  # what the library calls must live as long as it does
        self.connections = {}
        error = ctypes.create_string_buffer(256)
        everybody = self.callback(Int, [ctypes.c_char_p], lambda host: 1)
        newcomer = self.callback(Int, [Pointer, Pointer, ctypes.POINTER(ctypes.c_ulong), ctypes.POINTER(Callback),
                                       Pointer], self.welcome)
        # A client that is killed is no reason to end.
        ICE.IceSetIOErrorHandler(self.callback(None, [Pointer], lambda connection: None))
        assert SM.SmsInitialize(b"test", b"1", newcomer, None, everybody, 256, error), error.value
        self.count, self.listeners = Int(), ctypes.POINTER(Pointer)()
        assert ICE.IceListenForConnections(ctypes.byref(self.count), ctypes.byref(self.listeners), 256, error), error.value
        for number in range(self.count.value):
            ICE.IceSetHostBasedAuthProc(self.listeners[number], everybody)
        self.lock = threading.Lock()  # the library has none
        self.is_closing = False
        self.address = ICE.IceComposeNetworkIdList(self.count, self.listeners).decode()
        self.server = threading.Thread(target=self.serve, daemon=True)
        self.server.start()

    def callback(self, result, arguments, function):
        self.kept.append(ctypes.CFUNCTYPE(result, *arguments)(function))
        return ctypes.cast(self.kept[-1], Pointer)

    def welcome(self, connection, _data, mask, callbacks, _reason):
        answers = [  # in the library's own order
            (Int, [Pointer, Pointer, Pointer], self.register),
            (None, [Pointer, Pointer, Int], None),  # wishes to ask the user
            (None, [Pointer, Pointer, Int], None),  # has asked
            (None, [Pointer, Pointer, Int, Int, Int, Int, Int], None),  # wishes that all save
            (None, [Pointer, Pointer], None),  # wishes to save last
            (None, [Pointer, Pointer, Int], self.has_saved),
            (None, [Pointer, Pointer, Int, Pointer], self.has_gone),
            (None, [Pointer, Pointer, Int, Pointer], None),  # properties: set, deleted, asked for
            (None, [Pointer, Pointer, Int, Pointer], None),
            (None, [Pointer, Pointer], None)]
        for number, (result, arguments, function) in enumerate(answers):
            callbacks[number].function = self.callback(result, arguments, function or (lambda *_: None))
        mask[0] = (1 << len(answers)) - 1
        return 1

    def register(self, connection, _data, _previous):
        self.client = connection
        SM.SmsRegisterClientReply(connection, b"2client")
        SM.SmsSaveYourself(connection, LOCAL, 0, 0, 0)  # the protocol's greeting
        return 1

    def has_saved(self, _connection, _data, _success):
        self.answers += 1

    def has_gone(self, _connection, _data, _count, _reasons):
        self.client = None

    def serve(self):
        """Until close(): everything that clients ask."""
        while not self.is_closing:
            listening = {ICE.IceGetListenConnectionNumber(self.listeners[number]): self.listeners[number]
                         for number in range(self.count.value)}
            for number in select.select([*listening, *self.connections], [], [], 0.02)[0]:
                with self.lock:
                    if number in listening:
                        status = Int()
                        if connection := ICE.IceAcceptConnection(listening[number], ctypes.byref(status)):
                            self.connections[ICE.IceConnectionNumber(connection)] = connection
                    elif ICE.IceProcessMessages(self.connections[number], None, None) != 0:
                        del self.connections[number]  # it has gone, in whatever way

    def greets(self):
        """Whether a client has come and has been greeted."""
        return outside.eventually(lambda: self.client and self.answers == 1)

    def asks_to_save(self, kind):
        """The session is about to end. Returns when the client says that it has saved."""
        before = self.answers
        self.tell(SM.SmsSaveYourself, kind, 1, 0, 0)
        return outside.eventually(lambda: self.answers > before)

    def calls_off(self):
        self.tell(SM.SmsShutdownCancelled)

    def says_the_last_word(self):
        """Returns when the client has taken its leave."""
        self.tell(SM.SmsDie)
        return outside.eventually(lambda: not self.client)

    def tell(self, message, *arguments):
        with self.lock:
            message(self.client, *arguments)
            ICE.IceFlush(SM.SmsGetIceConnection(self.client))

    def close(self):
        self.is_closing = True
        self.server.join()
        ICE.IceFreeListenObjs(self.count, self.listeners)
