"""Login at the GridFS peer: SCRAM-SHA-256 for one user."""

import base64
import hashlib
import hmac
import os

from peer_documents import Refused

_ROUNDS = 4096


def _fields(text):
    return dict(part.split("=", 1) for part in text.split(",") if "=" in part)


def _mac(key, text):
    return hmac.new(key, text.encode(), hashlib.sha256).digest()


def _refused():
    return Refused(18, "Authentication failed.", "AuthenticationFailed")


def sasl_start(server, message):
    first = bytes(message.command["payload"]).decode().split(",", 2)[2]
    asked = _fields(first)
    if not server.login or message.command.get("mechanism") != "SCRAM-SHA-256" or asked["n"] != server.login[0]:
        raise _refused()
    salt = os.urandom(28)
    nonce = asked["r"] + base64.b64encode(os.urandom(24)).decode()
    challenge = "r=%s,s=%s,i=%d" % (nonce, base64.b64encode(salt).decode(), _ROUNDS)
    message.connection.scram = (first, challenge, salt, nonce)
    return _step(challenge, False)


def sasl_continue(server, message):
    if message.connection.scram is None:
        return _step("", True)
    first, challenge, salt, nonce = message.connection.scram
    final = bytes(message.command["payload"]).decode()
    salted = hashlib.pbkdf2_hmac("sha256", server.login[1].encode(), salt, _ROUNDS)
    text = ",".join((first, challenge, final.rsplit(",p=", 1)[0]))
    key = _mac(salted, "Client Key")
    signature = _mac(hashlib.sha256(key).digest(), text)
    proof = base64.b64encode(bytes(a ^ b for a, b in zip(key, signature))).decode()
    if _fields(final)["r"] != nonce or not hmac.compare_digest(proof, final.rsplit(",p=", 1)[1]):
        raise _refused()
    message.connection.scram = None
    message.connection.logged_in = True
    return _step("v=" + base64.b64encode(_mac(_mac(salted, "Server Key"), text)).decode(), False)


def _step(payload, done):
    return {"conversationId": 1, "done": done, "payload": payload.encode(), "ok": 1.0}
