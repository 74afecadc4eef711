#!/usr/bin/env python3
"""Writes the QTI content packages the exchange tests read: one realistic
package and hostile archives. Run from this folder; the outputs are committed."""
import struct
import zipfile
import zlib

GIF = open('../exhibit.gif', 'rb').read()
NS = 'xmlns="http://www.imsglobal.org/xsd/imsqti_v2p1"'


def item(identifier, body, correct, cardinality='single'):
    values = ''.join(f'<value>{v}</value>' for v in correct)
    return f'''<?xml version="1.0" encoding="UTF-8"?>
<assessmentItem {NS} identifier="{identifier}" title="{identifier}" adaptive="false" timeDependent="false">
  <responseDeclaration identifier="RESPONSE" cardinality="{cardinality}" baseType="identifier">
    <correctResponse>{values}</correctResponse>
  </responseDeclaration>
  <itemBody>{body}</itemBody>
</assessmentItem>
'''


MANIFEST = '''<?xml version="1.0" encoding="UTF-8"?>
<manifest xmlns="http://www.imsglobal.org/xsd/imscp_v1p1" identifier="pkg">
  <metadata><schema>IMS Content</schema><schemaversion>1.1</schemaversion></metadata>
  <organizations/>
  <resources>
    <resource identifier="test" type="imsqti_test_xmlv2p1" href="test.xml"/>
    {resources}
  </resources>
</manifest>
'''


def resource(identifier, href):
    return f'<resource identifier="{identifier}" type="imsqti_item_xmlv2p1" href="{href}"><file href="{href}"/></resource>'


def package(name, entries):
    with zipfile.ZipFile(name, 'w', zipfile.ZIP_DEFLATED) as z:
        for path, data in entries:
            z.writestr(path, data)


q_route = item('route', '''
    <p>Which command shows the routing table?</p>
    <p><img src="../images/routes.gif" alt="routes"/></p>
    <choiceInteraction responseIdentifier="RESPONSE" shuffle="true" maxChoices="1">
      <simpleChoice identifier="a">ip route</simpleChoice>
      <simpleChoice identifier="b">ip link</simpleChoice>
    </choiceInteraction>''', ['a'])
q_ports = item('ports', '''
    <choiceInteraction responseIdentifier="RESPONSE" maxChoices="2">
      <prompt>Which ports are well known? <img src="pic/one.gif"/><img src="pic/two.gif"/></prompt>
      <simpleChoice identifier="p22">22<feedbackInline identifier="p22" outcomeIdentifier="FEEDBACK">SSH</feedbackInline></simpleChoice>
      <simpleChoice identifier="p8">8</simpleChoice>
      <simpleChoice identifier="p443">443</simpleChoice>
    </choiceInteraction>''', ['p22', 'p443'], 'multiple')
q_fill = item('fill', '''
    <p>The loopback interface is called <textEntryInteraction responseIdentifier="RESPONSE" expectedLength="4"/>.</p>''', ['lo'])

good = [
    ('imsmanifest.xml', MANIFEST.format(resources=resource('r2', 'items/ports.xml') + resource('r1', 'items/route.xml')
                                        + resource('r3', 'items/fill.xml'))),
    ('items/route.xml', q_route),
    ('items/fill.xml', q_fill),
    ('items/ports.xml', q_ports),
    ('items/pic/one.gif', GIF),
    ('items/pic/two.gif', GIF),
    ('images/routes.gif', GIF),
    ('test.xml', '<assessmentTest/>'),
]
package('qti-package.zip', good)

manifest_one = MANIFEST.format(resources=resource('r1', 'items/route.xml'))
package('qti-dotdot.zip', [('imsmanifest.xml', manifest_one), ('items/route.xml', q_route), ('../evil.gif', GIF)])
package('qti-absolute.zip', [('imsmanifest.xml', manifest_one), ('items/route.xml', q_route), ('/tmp/evil.gif', GIF)])
package('qti-no-manifest.zip', [('items/route.xml', q_route)])
package('qti-missing-item.zip', [('imsmanifest.xml', manifest_one)])
package('qti-not-a-picture.zip', [('imsmanifest.xml', manifest_one), ('items/route.xml', q_route),
                                  ('images/routes.gif', b'GIF? no, plain text')])

with zipfile.ZipFile('qti-symlink.zip', 'w') as z:
    z.writestr('imsmanifest.xml', manifest_one)
    link = zipfile.ZipInfo('items/route.xml')
    link.create_system = 3
    link.external_attr = (0o120777 << 16)
    z.writestr(link, '/etc/passwd')

# An entry whose headers promise 1 GiB: refused before a byte is read.
with zipfile.ZipFile('qti-huge-declared.zip', 'w', zipfile.ZIP_STORED) as z:
    z.writestr('imsmanifest.xml', manifest_one)
    z.writestr('items/route.xml', q_route)
data = bytearray(open('qti-huge-declared.zip', 'rb').read())
GIB = 1 << 30
for signature, size_offset in ((b'PK\x03\x04', 22), (b'PK\x01\x02', 24)):
    start = 0
    while (at := data.find(signature, start)) >= 0:
        name_length = struct.unpack_from('<H', data, at + (26 if signature == b'PK\x03\x04' else 28))[0]
        name = data[at + (30 if signature == b'PK\x03\x04' else 46):][:name_length]
        if name == b'items/route.xml':
            struct.pack_into('<I', data, at + size_offset, GIB)
        start = at + 4
open('qti-huge-declared.zip', 'wb').write(bytes(data))

# An entry that claims 100 bytes but inflates to 40 MiB of zeros.
bomb = zlib.compressobj(9, zlib.DEFLATED, -15)
payload = bomb.compress(b'\0' * (40 << 20)) + bomb.flush()
with zipfile.ZipFile('qti-bomb.zip', 'w', zipfile.ZIP_DEFLATED) as z:
    z.writestr('imsmanifest.xml', manifest_one)
    z.writestr('items/route.xml', b'x' * 100)
data = bytearray(open('qti-bomb.zip', 'rb').read())
raw = zlib.compressobj(9, zlib.DEFLATED, -15)
old = raw.compress(b'x' * 100) + raw.flush()
at = data.find(old)
data[at:at + len(old)] = payload
# compressed sizes in both headers follow the new payload
for signature, offset in ((b'PK\x03\x04', 18), (b'PK\x01\x02', 20)):
    start = 0
    while (pos := data.find(signature, start)) >= 0:
        if data.find(b'items/route.xml', pos, pos + 80) > 0:
            struct.pack_into('<I', data, pos + offset, len(payload))
        start = pos + 4
delta = len(payload) - len(old)
cd = data.find(b'PK\x01\x02')
for pos in [p for p in range(cd, len(data)) if data[p:p + 4] == b'PK\x01\x02']:
    if data.find(b'items/route.xml', pos, pos + 80) < 0 and struct.unpack_from('<I', data, pos + 42)[0] > at:
        struct.pack_into('<I', data, pos + 42, struct.unpack_from('<I', data, pos + 42)[0] + delta)
end = data.find(b'PK\x05\x06')
struct.pack_into('<I', data, end + 16, struct.unpack_from('<I', data, end + 16)[0] + delta)
open('qti-bomb.zip', 'wb').write(bytes(data))
