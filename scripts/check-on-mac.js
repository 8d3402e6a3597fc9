// What scripts/check-on-mac asks macOS in JavaScript: osascript -l JavaScript check-on-mac.js QUESTION ARGUMENT...
// Each question imports and binds what it needs itself, so that a part that a system lacks affects no other question. The
// language is that of macOS 10.10.

var questions = {
  // Prints the XML document of one file into another, as macOS does.
  printed: function (source, target) {
    ObjC.import('Foundation');
    var prettyPrint = 1 << 17;
    var parsed = $.NSXMLDocument.alloc.initWithDataOptionsError($.NSData.dataWithContentsOfFile(source), 0, null);
    if (!parsed.XMLDataWithOptions(prettyPrint).writeToFileAtomically(target, false)) throw new Error('nothing printed');
    return '';
  },

  written: function (path) {
    ObjC.import('Foundation');
    var utf8 = 4;
    return String(Boolean($('new').dataUsingEncoding(utf8).writeToFileAtomically(path, true)));
  },

  // Copies a folder onto a folder, and continues after every entry that exists.
  merged: function (source, target) {
    ObjC.import('Foundation');
    var codes = [];
    ObjC.registerSubclass({
      name: 'ContinuesAfterExistingItems',
      superclass: 'NSObject',
      methods: {
        'fileManager:shouldProceedAfterError:copyingItemAtPath:toPath:': {
          types: ['bool', ['id', 'id', 'id', 'id']],
          implementation: function (manager, error, from, to) {
            codes.push(Number(error.code));
            return Number(error.code) === 516;
          }
        }
      }
    });
    var delegate = $.ContinuesAfterExistingItems.alloc.init;
    var manager = $.NSFileManager.alloc.init;
    manager.setDelegate(delegate);
    var isDone = Boolean(manager.copyItemAtPathToPathError(source, target, null));
    return String(isDone) + ', asked ' + codes.join(' ');
  },

  // Changes a link through a descriptor of it.
  heldLink: function (link, owner, group) {
    ObjC.import('Foundation');
    ObjC.bindFunction('open', ['int', ['char *', 'int']]);
    ObjC.bindFunction('close', ['int', ['int']]);
    ObjC.bindFunction('fchmod', ['int', ['int', 'int']]);
    ObjC.bindFunction('fchown', ['int', ['int', 'int', 'int']]);
    var readOnlySymlink = 0x200000;
    var held = $.open(link, readOnlySymlink);
    if (held < 0) throw new Error('the link cannot be opened');
    var changedMode = $.fchmod(held, 448);
    var changedOwner = $.fchown(held, Number(owner), Number(group));
    $.close(held);
    return 'fchmod ' + changedMode + ', fchown ' + changedOwner;
  },

  givenToUnknownAccount: function (path) {
    ObjC.import('Foundation');
    var attributes = $({
      NSFileOwnerAccountName: 'no-such-account-here',
      NSFileGroupOwnerAccountName: 'no-such-group-here',
      NSFilePosixPermissions: 416
    });
    return String(Boolean($.NSFileManager.defaultManager.setAttributesOfItemAtPathError(attributes, path, null)));
  },

  // Asks about each path that is a key of the expected object.
  paths: function (question, expected) {
    ObjC.import('Foundation');
    var answers = {
      parent: function (path) { return $(path).stringByDeletingLastPathComponent.js; },
      last: function (path) { return $(path).lastPathComponent.js; },
      joined: function (pair) {
        var paths = pair.split(' + ');
        return $(paths[0]).stringByAppendingPathComponent(paths[1]).js;
      },
      components: function (path) { return ObjC.deepUnwrap($(path).pathComponents); }
    };
    var result = {};
    Object.keys(JSON.parse(expected)).forEach(function (path) { result[path] = answers[question](path); });
    return JSON.stringify(result);
  },

  lowerCase: function () {
    ObjC.import('Foundation');
    function lowered(text) {
      return $(text).lowercaseString.js.split('').map(function (unit) {
        return unit.charCodeAt(0).toString(16);
      }).join(' ');
    }
    return 'U+0130: ' + lowered('\u0130') + ', U+039F U+0394 U+039F U+03A3: ' + lowered('\u039f\u0394\u039f\u03a3');
  },

  caseFolding: function () {
    ObjC.import('Foundation');
    function folded(text) {
      var caseInsensitive = 1;
      return $(text).decomposedStringWithCanonicalMapping.stringByFoldingWithOptionsLocale(caseInsensitive, null)
        .decomposedStringWithCanonicalMapping.js;
    }
    return 'U+00C9 and U+00E9: ' + (folded('\u00c9') === folded('\u00e9')) +
      ', U+00C9 and U+0065 U+0301: ' + (folded('\u00c9') === folded('e\u0301')) +
      ', U+03A3 and U+03C2: ' + (folded('\u03a3') === folded('\u03c2'));
  },

  // Writes a property list on a pasteboard, and the data that it became to a file.
  pasteboardForm: function (name, file) {
    ObjC.import('AppKit');
    var board = $.NSPasteboard.pasteboardWithName(name);
    board.declareTypesOwner($(['ERROR_MESSAGE']), null);
    board.setPropertyListForType($({ERROR_CODE: 0, ERROR_DETAILS: []}), 'ERROR_MESSAGE');
    var isWritten = board.dataForType('ERROR_MESSAGE').writeToFileAtomically(file, false);
    board.releaseGlobally;
    if (!isWritten) throw new Error('there is no pasteboard in this login session');
    return '';
  },

  pasteboardType: function (name) {
    ObjC.import('AppKit');
    var board = $.NSPasteboard.pasteboardWithName(name);
    board.declareTypesOwner($(['ERROR_MESSAGE']), null);
    board.setPropertyListForType($({ERROR_CODE: 0}), 'ERROR_MESSAGE');
    var types = ObjC.deepUnwrap(board.pasteboardItems.objectAtIndex(0).types);
    board.releaseGlobally;
    return types.join(' ');
  },

  dynamicType: function () {
    ObjC.import('AppKit');
    ObjC.bindFunction('UTTypeCreatePreferredIdentifierForTag', ['id', ['id', 'id', 'id']]);
    return $.UTTypeCreatePreferredIdentifierForTag('com.apple.nspboard-type', 'ERROR_MESSAGE', 'public.data').js;
  },

  textPut: function (name, text) {
    ObjC.import('AppKit');
    var board = $.NSPasteboard.pasteboardWithName(name);
    board.declareTypesOwner($(['public.utf8-plain-text']), null);
    if (!board.setStringForType(text, 'public.utf8-plain-text')) throw new Error('no pasteboard');
    return '';
  },

  textFound: function (name) {
    ObjC.import('AppKit');
    var text = $.NSPasteboard.pasteboardWithName(name).stringForType('public.utf8-plain-text');
    return text.isNil() ? 'nothing' : text.js;
  },

  pasteboardReleased: function (name) {
    ObjC.import('AppKit');
    $.NSPasteboard.pasteboardWithName(name).releaseGlobally;
    return '';
  },

  // Writes the numbers of all processes to a file, and returns the result that ended the list.
  processes: function (file) {
    ObjC.import('AppKit');
    ObjC.bindFunction('GetNextProcess', ['short', ['void *']]);
    ObjC.bindFunction('GetProcessPID', ['int', ['void *', 'void *']]);
    var serial = $.NSMutableData.dataWithLength(8);
    var pid = $.NSMutableData.dataWithLength(4);
    var pids = $.NSMutableData.data;
    var result = $.GetNextProcess(serial.mutableBytes);
    for (var count = 0; result === 0; ++count) {
      if (count === 5000) throw new Error('the list of processes cannot be walked from a script');
      if ($.GetProcessPID(serial.mutableBytes, pid.mutableBytes) === 0) pids.appendData(pid);
      result = $.GetNextProcess(serial.mutableBytes);
    }
    pids.writeToFileAtomically(file, false);
    return String(result);
  }
};

function run(argv) {
  return questions[argv[0]].apply(null, argv.slice(1));
}
