"""A daemon reduced to its socket: keeps every packet as it came, answers as a test says.

Written from the wire format alone, not on the module under test, so that a slip there cannot hide
itself. One thread serves every connection.
"""

import os
import select
import shutil
import socket
import struct
import tempfile
import threading

HEADER = struct.Struct("<4sHHIIIIIIQ")
WITHOUT_REPLY = (2, 3, 8)  # OPEN, INIT, ACL_RULE_MOVE_BLOCK
ACL_SET = 4


def request_fields(packet):
    """command, sequence, body, attachment"""
    fields = HEADER.unpack_from(packet)
    end = HEADER.size + fields[7]
    return fields[3], fields[4], packet[HEADER.size : end], packet[end:]


def reply(packet, status=0, transport=0, body=b"", **changed):
    """A reply to a request's packet; `changed` falsifies fields of its header."""
    command, sequence, _, _ = request_fields(packet)
    fields = {
        "magic": b"ZVRP", "version": 1, "kind": 2, "command": command, "sequence": sequence,
        "status": status, "transport": transport, "body_len": len(body), "attachment_len": 0,
        "reserved": 0,
    }  # fmt: skip
    fields.update(changed)
    return HEADER.pack(*fields.values()) + body


def echo(packet):
    """What the real daemon sends for a command that succeeds and changes nothing."""
    command, _, body, _ = request_fields(packet)
    if command in WITHOUT_REPLY:
        body = b""
    elif command == ACL_SET:
        body = body[12:44]
    return reply(packet, body=body)


HANG_UP = object()


class Stub:
    """Listens when made; `answer(packet)` returns a packet, HANG_UP, a list of these, or None for
    silence. It runs on the stub's thread."""

    def __init__(self, answer=echo):
        self.answer = answer
        self.packets = []
        self.directory = tempfile.mkdtemp(prefix="zv-stub-")
        self.path = os.path.join(self.directory, "s")
        self._listener = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        self._listener.bind(self.path)
        self._listener.listen(64)
        self._stop, self._stopped = os.pipe()
        self._connections = []
        self._may_read = threading.Event()
        self._may_read.set()
        self._thread = threading.Thread(target=self._serve)
        self._thread.start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        os.write(self._stopped, b"x")
        self._may_read.set()
        self._thread.join()
        for each in [self._listener, *self._connections]:
            each.close()
        os.close(self._stop)
        os.close(self._stopped)
        shutil.rmtree(self.directory)

    def be_deaf(self):
        """Nothing is read until hear() is called."""
        self._may_read.clear()

    def hear(self):
        self._may_read.set()

    def commands(self):
        return [request_fields(packet)[0] for packet in self.packets]

    def _serve(self):
        while True:
            sockets = [self._stop, self._listener, *self._connections]
            ready, _, _ = select.select(sockets, [], [])
            if self._stop in ready:
                return
            self._may_read.wait()
            for each in ready:
                if each is self._listener:
                    self._connections.append(self._listener.accept()[0])
                else:
                    self._take_packet(each)

    def _take_packet(self, connection):
        try:
            answer = self._answer_to(connection.recv(16384))
            for each in answer:
                if each is HANG_UP:
                    raise ConnectionResetError
                connection.send(each)
        except (ConnectionResetError, BrokenPipeError):  # or a client that did not wait
            self._connections.remove(connection)
            connection.close()

    def _answer_to(self, packet):
        if not packet:
            return [HANG_UP]
        self.packets.append(packet)
        answer = self.answer(packet)
        if answer is None:
            return []
        return answer if isinstance(answer, list) else [answer]
