var list = [1, "two", true, other, -4];
equal(native.load(list), 'I4 1, BSTR "two", BOOL -1, DISPATCH, I4 -4', "loaded");
equal(list.length, 5, "length stays");
equal(list[0] + "," + list[1] + "," + list[2] + "," + list[4], "1,two,true,-4", "order stays");
equal(list[3].name, "other", "objects stay");
equal(native.load([]), "", "an empty array");
raises(function () { native.load({}); }, "An argument is not valid", "Script");
var odd = [1, 2.5, 3];
raises(function () { native.load(odd); }, "An argument is not valid", "Script");
equal(odd.join(), "3,1", "the refused element is gone");

// Native code appends its own objects.
var filled = [];
native.fill(filled);
equal(filled.length, 2, "two more");
equal(filled[0].name, "child", "a result object");
equal(filled[1].value, 10, "a wrapped object");

// Native code works on a script's object by name.
var target = { count: 1, add: function (n) { this.count += n; return this.count; } };
equal(native.callBack(target, "add", 4), 5, "a script's method with its object");
equal(target.count, 5, "which it changed");
