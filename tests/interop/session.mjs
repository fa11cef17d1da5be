// An agent composes a short song end to end through the official MCP SDK, the way a user's
// agent would: four tracks from presets, chords, a drum pattern and a bass line by note names,
// a transform, a shaped sound, effects, undo and redo, a mix analysis, a WAV export, and a save
// that opens back to the same song. Usage: node session.mjs path/to/velmo
import assert from "node:assert/strict";
import { mkdtempSync, readFileSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { call, refusal, withVelmo } from "./velmo.mjs";

const folder = mkdtempSync(join(tmpdir(), "velmo-session-"));

await withVelmo(120, async (velmo) => {
  const agent = await velmo.connect("velmo-session");

  // A fresh song at 100 BPM with four tracks from factory presets.
  const fresh = await call(agent, "new_project", { name: "Night Drive", tempo: 100 });
  assert.deepEqual([fresh.name, fresh.tempo, fresh.tracks], ["Night Drive", 100, []]);
  const engines = [];
  for (const [preset, name] of [["808 Kit", "Drums"], ["Acid Bass", "Bass"], ["FM E-Piano", "Keys"], ["Warm Pad", "Pad"]]) {
    const track = await call(agent, "add_track", { preset, name });
    assert.equal(track.name, name);
    engines.push(track.engine);
  }
  assert.deepEqual(engines, ["drums", "analog", "fm", "analog"]);

  // Four bars of chords; voice leading keeps the hand where it is.
  const changes = await call(agent, "add_clip", { track: "Keys", length: 16, name: "Changes" });
  const chords = await call(agent, "add_chords", { clip: changes.id, progression: "Am F C G" });
  assert.deepEqual(chords.voicings, ["Am: A4 C5 E5", "F: A4 C5 F5", "C: G4 C5 E5", "G: G4 B4 D5"]);
  const pad = await call(agent, "add_clip", { track: "Pad", length: 16 });
  const padChords = await call(agent, "add_chords", { clip: pad.id, progression: "Am7 Fmaj7 C G/B", octave: 3 });
  assert.equal(padChords.note_count, 15);

  // A drum pattern of step strings, tiled over the clip.
  const beat = await call(agent, "add_clip", { track: "Drums", length: 16 });
  const drums = await call(agent, "add_drum_pattern", {
    clip: beat.id,
    pattern: { kick: "x...x...x...x...", snare: "....x.......x...", hat: "x.x.x.x.x.x.x.x." },
  });
  assert.deepEqual(drums.lanes, ["hat→42 (32 hits)", "kick→36 (16 hits)", "snare→38 (8 hits)"]);

  // A one-bar bass line by note names, lifted an octave, then copied to fill the four bars.
  const riff = await call(agent, "add_clip", { track: "Bass", length: 4, name: "Riff" });
  await call(agent, "add_notes", {
    clip: riff.id,
    notes: [
      { pitch: "A1", start: 0, duration: 0.75 },
      { pitch: "A2", start: 1 },
      { pitch: "F1", start: 2, duration: 0.75 },
      { pitch: "G1", start: 3, velocity: 0.6 },
    ],
  });
  const lifted = await call(agent, "transform_notes", { clip: riff.id, transpose: 12 });
  assert.equal(lifted.notes_changed, 4);
  const riffNotes = (await call(agent, "get_clip", { clip: riff.id })).notes;
  assert.deepEqual(riffNotes.map((note) => note.name), ["A2", "A3", "F2", "G2"]);
  assert.deepEqual(riffNotes.map((note) => note.velocity), [0.8, 0.8, 0.8, 0.6]);
  const copies = await call(agent, "duplicate_clip", { clip: riff.id, times: 3 });
  assert.equal(copies.clip_ids.length, 3);
  assert.equal(copies.ends_at_beat, 16);

  // Shape the pad by parameter path.
  const shaped = await call(agent, "set_synth", { track: "Pad", params: { "filter.cutoff": 1200, "ampEnv.release": 1.5 } });
  assert.deepEqual(shaped.applied, { "ampEnv.release": 1.5, "filter.cutoff": 1200 });
  assert.equal((await call(agent, "get_track", { track: "Pad" })).patch.filter.cutoff, 1200);
  // It cannot hear the result, so it asks for a portrait of one note: the longer release shows.
  const portrait = await call(agent, "describe_sound", { track: "Pad", pitch: "A3" });
  assert.ok(portrait.release_60db_ms > 1000, JSON.stringify(portrait));

  // The mistakes an agent makes most are refused with a message that says what would work,
  // and none of them touches the song.
  const song = await call(agent, "get_project", { include_notes: true });
  assert.equal(await refusal(agent, "get_track", { track: "Strings" }),
    "Error: No track 'Strings'. Tracks: t1 (Drums), t2 (Bass), t3 (Keys), t4 (Pad).");
  assert.equal(await refusal(agent, "add_notes", { clip: "c99", notes: [{ pitch: "C4", start: 0 }] }),
    "Error: No clip 'c99'. Call get_project to list clip ids.");
  assert.match(await refusal(agent, "set_synth", { track: "Keys", preset: "Grand Piano" }),
    /^Error: Unknown preset 'Grand Piano'\. Presets: Init Saw, .*, Lo-Fi Kit\.$/);
  assert.equal(await refusal(agent, "set_synth", { track: "Pad", params: { "filter.cutof": 900 } }),
    "Error: Unknown synth parameter 'filter.cutof'. Call describe_synth for the full list.");
  assert.equal(await refusal(agent, "set_synth", { track: "Pad", params: { "filter.type": "lowpass48" } }),
    "Error: 'filter.type' must be one of: off, lowpass12, lowpass24, ladder, highpass12, bandpass, notch.");
  assert.equal(await refusal(agent, "add_chords", { clip: changes.id, progression: "Am H7" }),
    "Error: Cannot parse chord 'H7'.");
  assert.equal(await refusal(agent, "add_effect", { target: "Keys", kind: "flanger" }),
    "Error: kind must be one of: drive, bitcrush, chorus, phaser, delay, reverb, eq, compressor, autofilter.");
  assert.deepEqual(await call(agent, "get_project", { include_notes: true }), song);

  // Effects on a track and on the master bus; undo takes the last one away, redo brings it back.
  const reverb = await call(agent, "add_effect", { target: "Keys", kind: "reverb", params: { mix: 0.3 } });
  assert.equal(reverb.chain[0].params.mix, 0.3);
  const glue = await call(agent, "add_effect", { target: "master", kind: "compressor", params: { ratio: 2 } });
  const withGlue = await call(agent, "get_project");
  assert.deepEqual(await call(agent, "history", { action: "undo" }), { can_redo: true, can_undo: true, tracks: 4 });
  assert.deepEqual((await call(agent, "get_project")).master.effects, []);
  assert.deepEqual(await call(agent, "history", { action: "redo" }), { can_redo: false, can_undo: true, tracks: 4 });
  assert.deepEqual(await call(agent, "get_project"), withGlue);
  assert.equal(withGlue.master.effects[0].id, glue.effect_id);

  // A long analysis suspends only its own call: a second client reads the song meanwhile.
  const reader = await velmo.connect("velmo-reader");
  const finished = [];
  const analysis = call(agent, "analyze_mix", { end_beat: 64 }).then((mix) => { finished.push("analyze_mix"); return mix; });
  await call(reader, "get_project");
  finished.push("get_project");
  const mix = await analysis;
  assert.deepEqual(finished, ["get_project", "analyze_mix"]);
  assert.deepEqual(mix.tracks.map((track) => track.name), ["Drums", "Bass", "Keys", "Pad"]);
  for (const track of mix.tracks) assert.ok(track.rms_dbfs > -40, `${track.name} is too quiet: ${track.rms_dbfs} dBFS`);

  // The analysis says the master runs into the limiter, the pad loudest of all: the agent
  // takes the pad down and leaves the master some headroom.
  const loudest = mix.tracks.reduce((a, b) => (b.peak_dbfs > a.peak_dbfs ? b : a));
  assert.equal(loudest.name, "Pad");
  assert.ok(mix.clipped_samples_before_limiter > 0);
  assert.match(mix.notes[0], /^Master is hitting the safety limiter/);
  assert.equal(mix.culprits[0].problem, "limiter");
  assert.equal(mix.culprits[0].tracks[0].name, "Pad", JSON.stringify(mix.culprits));
  await call(agent, "update_track", { track: "Pad", volume_db: -14 });
  await call(agent, "set_song", { master_volume_db: -4 });
  const after = await call(agent, "analyze_mix", { end_beat: 16, compare: 2 });
  const [drumsChange, , , padChange] = after.compare.changes.tracks;
  assert.ok(padChange.rms_dbfs < -3 && drumsChange.rms_dbfs === 0, JSON.stringify(after.compare.changes));

  // The exported file is the 24-bit stereo WAV its analysis describes, now clean.
  const exported = await call(agent, "export_audio", { path: join(folder, "night-drive.wav"), end_beat: 16, tail_seconds: 2 });
  assert.equal(exported.file, join(folder, "night-drive.wav"));
  assert.equal(exported.clipped_samples_before_limiter, 0);
  assert.equal(exported.limiter_max_reduction_db, 0);
  const wav = readWAV(exported.file);
  assert.deepEqual([wav.channels, wav.sampleRate, wav.bitsPerSample], [2, 48000, 24]);
  assert.equal(wav.frames, (16 * 60 / 100 + 2) * 48000);
  assert.ok(Math.abs(20 * Math.log10(wav.peak) - exported.peak_dbfs) < 0.1, `file peak ${wav.peak}, reported ${exported.peak_dbfs} dBFS`);

  // Saved, replaced by an empty song, and opened again: the same song, note for note.
  const saved = await call(agent, "save_project", { path: join(folder, "night-drive") });
  assert.equal(saved.saved, join(folder, "night-drive.velmo.json"));
  const before = await call(agent, "get_project", { include_notes: true });
  await call(agent, "new_project");
  const opened = await call(agent, "open_project", { path: saved.saved });
  assert.equal(opened.file, saved.saved);
  assert.deepEqual(await call(agent, "get_project", { include_notes: true }), before);

  console.log(`passed: ${before.tracks.length} tracks, ${mix.seconds} s analysed, ${wav.frames} frames exported and read back`);
});
rmSync(folder, { recursive: true, force: true });

// Reads the format and the peak sample of a PCM WAV file.
function readWAV(path) {
  const bytes = readFileSync(path);
  assert.equal(bytes.toString("latin1", 0, 4), "RIFF");
  assert.equal(bytes.toString("latin1", 8, 12), "WAVE");
  let format;
  for (let at = 12; at + 8 <= bytes.length; ) {
    const id = bytes.toString("latin1", at, at + 4);
    const size = bytes.readUInt32LE(at + 4);
    const body = at + 8;
    if (id === "fmt ") {
      assert.equal(bytes.readUInt16LE(body), 1, "PCM");
      format = {
        channels: bytes.readUInt16LE(body + 2),
        sampleRate: bytes.readUInt32LE(body + 4),
        bitsPerSample: bytes.readUInt16LE(body + 14),
      };
    } else if (id === "data") {
      assert.ok(format, "fmt chunk before data");
      const width = format.bitsPerSample / 8;
      let peak = 0;
      for (let sample = body; sample + width <= body + size; sample += width) {
        peak = Math.max(peak, Math.abs(bytes.readIntLE(sample, width)));
      }
      return { ...format, frames: size / (width * format.channels), peak: peak / 2 ** (format.bitsPerSample - 1) };
    }
    at = body + size + (size & 1);
  }
  assert.fail("no data chunk");
}
