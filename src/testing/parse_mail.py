# The independent reader of the messages our SMTP client sends: Python's email package. With a
# second argument, attachments are also written into that folder under their file names.
import hashlib
import os
import sys
from email import message_from_binary_file, policy

with open(sys.argv[1], "rb") as f:
    msg = message_from_binary_file(f, policy=policy.default)
for name in ["From", "To", "Cc", "Subject", "Date", "Message-ID", "X-Mailer", "Reply-To"]:
    if name in msg:
        print(f"{name}: {msg[name]}")
defects = sorted({type(d).__name__ for part in msg.walk() for d in part.defects})
print("defects: " + " ".join(defects))
for i, part in enumerate(msg.walk()):
    if part.is_multipart():
        print(f"part {i}: {part.get_content_type()}")
        continue
    payload = part.get_payload(decode=True) or b""
    name = part.get_filename()
    if name:
        digest = hashlib.md5(payload).hexdigest()
        print(f"part {i}: {part.get_content_type()} attachment {name} {len(payload)} bytes md5 {digest}")
        if len(sys.argv) > 2:
            with open(os.path.join(sys.argv[2], os.path.basename(name)), "wb") as out:
                out.write(payload)
    else:
        text = payload.decode(part.get_content_charset() or "ascii", "replace")
        print(f"part {i}: {part.get_content_type()} text {text!r}")
