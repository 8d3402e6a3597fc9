// Checks the signatures in a Mach-O file as the kernel of macOS does before it runs a page: every slice must have one, and
// every page must have the hash that the signature names.
//
//   node check-signatures.js FILE
//
// Prints a line for each slice: the architecture, the identifier and the kind. Exits with status 1 and a reason when a
// signature is missing or wrong.
'use strict';
const crypto = require('crypto');
const fs = require('fs');

const architectures = { 0x00000007: 'i386', 0x01000007: 'x86_64', 0x0100000c: 'arm64' };

function fail(reason) {
  console.error(reason);
  process.exit(1);
}

/** The slices of a file: of one that is not universal, the whole of it. */
function slicesOf(file) {
  if (file.readUInt32BE(0) !== 0xcafebabe) return [file];
  const slices = [];
  for (let index = 0; index < file.readUInt32BE(4); ++index) {
    const entry = 8 + index * 20;
    const start = file.readUInt32BE(entry + 8);
    slices.push(file.subarray(start, start + file.readUInt32BE(entry + 12)));
  }
  return slices;
}

/** The part of a slice that LC_CODE_SIGNATURE points to, and where it begins. */
function signatureOf(slice) {
  const isWide = slice.readUInt32LE(0) === 0xfeedfacf;
  let at = isWide ? 32 : 28;
  for (let count = slice.readUInt32LE(16); count > 0; --count) {
    if (slice.readUInt32LE(at) === 0x1d) {
      const start = slice.readUInt32LE(at + 8);
      return { start, blob: slice.subarray(start, start + slice.readUInt32LE(at + 12)) };
    }
    at += slice.readUInt32LE(at + 4);
  }
  return null;
}

function directoryOf(blob) {
  if (blob.readUInt32BE(0) !== 0xfade0cc0) return null;
  for (let index = 0; index < blob.readUInt32BE(8); ++index) {
    const at = blob.readUInt32BE(16 + index * 8);
    if (blob.readUInt32BE(at) === 0xfade0c02) return blob.subarray(at, at + blob.readUInt32BE(at + 4));
  }
  return null;
}

for (const slice of slicesOf(fs.readFileSync(process.argv[2]))) {
  const architecture = architectures[slice.readUInt32LE(4)] || 'another architecture';
  const signature = signatureOf(slice);
  if (signature === null) fail(`${architecture}: no signature`);
  const directory = directoryOf(signature.blob);
  if (directory === null) fail(`${architecture}: the signature has no code directory`);

  const flags = directory.readUInt32BE(12);
  const hashes = directory.readUInt32BE(16);
  const pages = directory.readUInt32BE(28);
  const end = directory.readUInt32BE(32);
  const hashSize = directory[36];
  const pageSize = 1 << directory[39];
  if (directory[37] !== 2) fail(`${architecture}: the hashes are not of SHA-256`);
  if (end !== signature.start || pages !== Math.ceil(end / pageSize)) fail(`${architecture}: not all of it is signed`);
  for (let page = 0; page < pages; ++page) {
    const bytes = slice.subarray(page * pageSize, Math.min((page + 1) * pageSize, end));
    const expected = directory.subarray(hashes + page * hashSize, hashes + (page + 1) * hashSize);
    if (!crypto.createHash('sha256').update(bytes).digest().equals(expected)) {
      fail(`${architecture}: page ${page} is not the one that was signed`);
    }
  }
  const name = directory.readUInt32BE(20);
  const identifier = directory.toString('utf8', name, directory.indexOf(0, name));
  console.log(`${architecture} ${identifier}${flags & 0x2 ? ' ad hoc' : ''}${flags & 0x20000 ? ', by the linker' : ''}`);
}
