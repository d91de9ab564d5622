// Counts the types of the shared MIME database by their kind.
var types = xml.load("/usr/share/mime/packages/freedesktop.org.xml");
var counts = {};
for (var more = types.child("mime-type"); more; more = types.next()) {
    if (types.name !== "mime-type") continue;
    var kind = types.attribute("type").split("/")[0];
    counts[kind] = (counts[kind] || 0) + 1;
}
var kinds = [];
for (var kind in counts) kinds.push(kind);
kinds.sort();
for (var i = 0; i < kinds.length; ++i) out.print(kinds[i] + ":", counts[kinds[i]]);
