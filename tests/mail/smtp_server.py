#!/usr/bin/python3
"""A real SMTP server for the mail tests (aiosmtpd), on loopback only.

  smtp_server.py MAILDIR READY_FILE PLAIN_PORT STARTTLS_PORT TLS_PORT CERT KEY USER PASSWORD

Every message taken is delivered into MAILDIR, which Dovecot serves. The plain listener takes
mail from anyone (as a local relay would); the STARTTLS and the TLS listener ask for USER and
PASSWORD. A recipient whose mailbox name starts with "refused" is refused, as an unknown user is.
READY_FILE is written once every listener takes connections; SIGTERM ends the server.
"""
import mailbox
import signal
import ssl
import sys
import threading

from aiosmtpd.controller import Controller
from aiosmtpd.smtp import AuthResult, LoginPassword


class Deliver:
    def __init__(self, folder):
        self.box = mailbox.Maildir(folder, create=True)
        self.lock = threading.Lock()

    async def handle_RCPT(self, server, session, envelope, address, rcpt_options):
        if address.split("@")[0].startswith("refused"):
            return "550 5.1.1 <%s>: Recipient address rejected: User unknown" % address
        envelope.rcpt_tos.append(address)
        return "250 OK"

    async def handle_DATA(self, server, session, envelope):
        with self.lock:
            self.box.add(envelope.original_content)
        return "250 Message accepted for delivery"


class Login:
    def __init__(self, user, password):
        self.user = user.encode()
        self.password = password.encode()

    def __call__(self, server, session, envelope, mechanism, auth_data):
        good = (isinstance(auth_data, LoginPassword) and auth_data.login == self.user
                and auth_data.password == self.password)
        return AuthResult(success=good, handled=False)


def main():
    folder, ready, plain, starttls, tls, cert, key, user, password = sys.argv[1:10]
    handler = Deliver(folder)
    context = ssl.create_default_context(ssl.Purpose.CLIENT_AUTH)
    context.load_cert_chain(cert, key)
    login = Login(user, password)
    servers = [
        Controller(handler, hostname="127.0.0.1", port=int(plain)),
        Controller(handler, hostname="127.0.0.1", port=int(starttls), tls_context=context,
                   require_starttls=True, authenticator=login, auth_require_tls=True),
        Controller(handler, hostname="127.0.0.1", port=int(tls), ssl_context=context,
                   authenticator=login, auth_require_tls=False),
    ]
    for server in servers:
        server.start()
    with open(ready, "w") as done:
        done.write("ready\n")
    stop = threading.Event()
    signal.signal(signal.SIGTERM, lambda *_: stop.set())
    stop.wait()
    for server in servers:
        server.stop()


if __name__ == "__main__":
    main()
