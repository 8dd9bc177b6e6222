// VLANs of Quorvane adapters through WMI scripting, in JScript:
//
//   cscript //nologo vlans.js list
//   cscript //nologo vlans.js get {GUID}
//   cscript //nologo vlans.js rename {GUID} NAME
//   cscript //nologo vlans.js save FILE
//   cscript //nologo vlans.js restore FILE      removes every VLAN first
//
// FILE is a whole path, as it is WMI's host that reads and writes it. Run the script in an elevated prompt. Only
// where all went well, the exit status is 0 and the last line "done".

var notFound = 0x80041002;
var services;

function fail(message) { throw new Error(message); }

// Errors of WMI may have no text.
function reason(error) { return error.message || "0x" + (error.number >>> 0).toString(16); }

// By way of the list of properties, which every scripting library has; `instance.VLANName` is a short form of it.
function value(instance, name) { return instance.Properties_.Item(name).Value; }

function describe(vlan) {
  return "adapter " + value(vlan, "ParentDeviceID") + ", VLAN " + value(vlan, "VLANNumber") + ", priority " +
      value(vlan, "VLANPriority") + ": " + value(vlan, "VLANName") + " " + value(vlan, "Name");
}

// The query itself does not fail yet: an error comes with the first look at its result. "Not found" is how the provider
// tells that there is no VLAN. Some scripting libraries report no error there but an empty list, whatever the reason: so
// nothing counts as empty unless a get, whose errors always arrive, ends with "not found", too.
function vlans() {
  var result = [], found = services.ExecQuery("SELECT * FROM QvrnEN_VLAN"), count;
  try {
    count = found.Count;
    if (count == 0) services.Get('QvrnEN_VLAN.Name="{}"');
  } catch (error) {
    if ((error.number >>> 0) != notFound) throw error;
    return result;
  }
  for (var i = 0; i < count; ++i) result.push(found.ItemIndex(i));
  return result;
}

function find(key) {
  var all = vlans();
  for (var i = 0; i < all.length; ++i) {
    if (value(all[i], "Name") == key) return all[i];
  }
  fail("there is no VLAN " + key);
}

function list() {
  var all = vlans();
  for (var i = 0; i < all.length; ++i) WScript.Echo(describe(all[i]));
}

function get(key) { WScript.Echo(describe(find(key))); }

// The put's own status does not tell what has happened. Name, number and priority are written together, so that it is
// the listed instance that is changed and put.
function rename(key, name) {
  var vlan = find(key), problem = "";
  try {
    vlan.Properties_.Item("VLANName").Value = name;
    vlan.Put_();
  } catch (error) {
    problem = ": " + reason(error);
  }
  if (value(find(key), "VLANName") != name) fail("the VLAN was not renamed" + problem);
  get(key);
}

// An instance of the method's in-parameters; where SpawnInstance_ is missing, as in Wine, the signature itself serves.
function inParameters(method) {
  var signature = services.Get("QvrnEN_VLAN").Methods_.Item(method).InParameters;
  try {
    return signature.SpawnInstance_();
  } catch (notImplemented) {
    return signature;
  }
}

// The call succeeds whatever has become of it: what is there afterwards tells.
function call(method, path) {
  var parameters = inParameters(method);
  parameters.sFileName = path;
  services.ExecMethod("QvrnEN_VLAN", method, parameters);
}

var files = new ActiveXObject("Scripting.FileSystemObject");

function save(path) {
  if (files.FileExists(path)) files.DeleteFile(path);
  call("SaveVlanConfiguration", path);
  if (!files.FileExists(path)) fail(path + " was not written");
  WScript.Echo(path + " is written");
}

function restore(path) {
  if (!files.FileExists(path)) fail("there is no " + path);
  var wanted = new ActiveXObject("MSXML2.DOMDocument.3.0");
  wanted.async = false;
  if (!wanted.load(path)) fail(path + " is no XML");
  call("RestoreVlanConfiguration", path);
  list();
  var expected = wanted.getElementsByTagName("vlan").length, count = vlans().length;
  if (count != expected) fail(count + " VLANs are there, and the file has " + expected);
}

var commands = {
  "list": {run: list, words: 0}, "get": {run: get, words: 1}, "rename": {run: rename, words: 2},
  "save": {run: save, words: 1}, "restore": {run: restore, words: 1}
};

function main(words) {
  var command = words.length > 0 ? commands[words.Item(0)] : null;
  if (!command || words.length != command.words + 1) {
    fail("usage: list | get GUID | rename GUID NAME | save FILE | restore FILE");
  }
  // ConnectServer lets the provider act in the script's name; a moniker has to ask for that.
  services = new ActiveXObject("WbemScripting.SWbemLocator").ConnectServer(".", "root\\cimv2");
  command.run(words.length > 1 ? words.Item(1) : "", words.length > 2 ? words.Item(2) : "");
}

var status = 0;
try {
  main(WScript.Arguments);
  WScript.Echo("done");
} catch (error) {
  WScript.Echo("failed: " + reason(error));
  status = 1;
}
WScript.Quit(status);
