// Values that native code set, by every type.
equal(native.number, -5, "number");
equal(native.text, "text", "text");
equal(native.truth, true, "truth");
equal(native.unsigned, 4294967295, "unsigned");
equal(native.large, 1099511627776, "large");
equal(native.child.name, "child", "an object's member");
equal(native.NUMBER, -5, "names have no case");

// Index access and the members' names.
equal(native.length, 6, "length");
equal(native.memberName(0), "number", "memberName");
equal(native[0], -5, "first member");
equal(native[1], "text", "second member");
equal(native["2"], true, "an index as text");

// Setting changes value and type, and creates.
native.number = "now a text";
equal(native.number, "now a text", "changed type");
native.created = 7;
equal(native.created, 7, "created");
equal(native.length, 7, "length counts the created member");
equal(native.neverSet, "", "a name that nobody set");
equal(native.length, 8, "and it is there from then on");
equal(native.memberName(7), "NEVERSET", "under its upper-case name");
native.truth = false;
equal(native.truth, false, "truth");
native.child = other;
equal(native.child.name, "other", "another object");
equal(native[99], undefined, "an index out of range");

// A script's own object comes back as itself.
var own = { tag: "own" };
native.own = own;
equal(native.own === own, true, "identity");
native.own.tag = "changed";
equal(own.tag, "changed", "the same object");
native.own = 0;

// Many wrappers of one object, left to the collector.
for (var i = 0; i < 200; ++i) equal(native.child.name, "other", "again");
