/*
 * Compact mesh viewer of the Lumo 2D browser scene.
 *
 * Loads a Wavefront OBJ file and draws it on a 2D canvas with a small software rasterizer
 * (z-buffer, flat or smooth shading, wireframe, points): no WebGL, no dependencies, so it
 * runs in any browser and in headless ones. Mouse: drag to rotate, wheel to zoom;
 * jsc3d.touch.js adds touch gestures. Other files may register loaders in JSC3D.loaders.
 *
 * Usage:
 *   var viewer = new JSC3D.Viewer(canvas);
 *   viewer.setParameter('SceneUrl', '3d.obj');   // and the other parameters below
 *   viewer.init();
 *   viewer.update();
 *
 * Parameters (strings or numbers): SceneUrl, InitRotationX/Y/Z (degrees), ModelColor,
 * BackgroundColor1 (top), BackgroundColor2 (bottom), RenderMode ('smooth', 'flat', 'point',
 * 'wireframe'), FaceCulling ('on', 'off'), ProgressBar ('on', 'off').
 */
var JSC3D = (function () {
  'use strict';

  var JSC3D = { loaders: {} };

  // ---- small helpers ---------------------------------------------------------------

  function parseColor(text, fallback) {
    var m = /^#?([0-9a-f]{6})$/i.exec(String(text).trim());
    if (!m) return fallback;
    var v = parseInt(m[1], 16);
    return [(v >> 16) & 255, (v >> 8) & 255, v & 255];
  }

  function rotationMatrix(axis, degrees) {
    var a = degrees * Math.PI / 180, c = Math.cos(a), s = Math.sin(a);
    if (axis === 0) return [1, 0, 0, 0, c, -s, 0, s, c];
    if (axis === 1) return [c, 0, s, 0, 1, 0, -s, 0, c];
    return [c, -s, 0, s, c, 0, 0, 0, 1];
  }

  function multiply(a, b) {
    var r = new Array(9);
    for (var i = 0; i < 3; i++) {
      for (var j = 0; j < 3; j++) {
        r[i * 3 + j] = a[i * 3] * b[j] + a[i * 3 + 1] * b[3 + j] + a[i * 3 + 2] * b[6 + j];
      }
    }
    return r;
  }

  // ---- the mesh ----------------------------------------------------------------------

  // vertices: flat x,y,z array; faces: flat array of vertex indices, three per triangle.
  function Mesh(vertices, faces) {
    this.vertices = new Float64Array(vertices);
    this.faces = new Uint32Array(faces);
    this.vertexCount = vertices.length / 3;
    this.faceCount = faces.length / 3;
    this.computeBounds();
    this.computeNormals();
  }

  Mesh.prototype.computeBounds = function () {
    var v = this.vertices, lo = [Infinity, Infinity, Infinity], hi = [-Infinity, -Infinity, -Infinity];
    for (var i = 0; i < v.length; i++) {
      var k = i % 3;
      if (v[i] < lo[k]) lo[k] = v[i];
      if (v[i] > hi[k]) hi[k] = v[i];
    }
    if (v.length === 0) { lo = [0, 0, 0]; hi = [0, 0, 0]; }
    this.center = [(lo[0] + hi[0]) / 2, (lo[1] + hi[1]) / 2, (lo[2] + hi[2]) / 2];
    var dx = hi[0] - lo[0], dy = hi[1] - lo[1], dz = hi[2] - lo[2];
    this.radius = Math.sqrt(dx * dx + dy * dy + dz * dz) / 2 || 1;
  };

  // Face normals, and vertex normals as the normalised sum of the incident face normals.
  Mesh.prototype.computeNormals = function () {
    var v = this.vertices, f = this.faces;
    var fn = new Float64Array(f.length), vn = new Float64Array(v.length);
    for (var t = 0; t < f.length; t += 3) {
      var a = f[t] * 3, b = f[t + 1] * 3, c = f[t + 2] * 3;
      var ux = v[b] - v[a], uy = v[b + 1] - v[a + 1], uz = v[b + 2] - v[a + 2];
      var wx = v[c] - v[a], wy = v[c + 1] - v[a + 1], wz = v[c + 2] - v[a + 2];
      var nx = uy * wz - uz * wy, ny = uz * wx - ux * wz, nz = ux * wy - uy * wx;
      var len = Math.sqrt(nx * nx + ny * ny + nz * nz) || 1;
      fn[t] = nx / len; fn[t + 1] = ny / len; fn[t + 2] = nz / len;
      for (var k = 0; k < 3; k++) {
        var p = f[t + k] * 3;
        vn[p] += fn[t]; vn[p + 1] += fn[t + 1]; vn[p + 2] += fn[t + 2];
      }
    }
    for (var i = 0; i < vn.length; i += 3) {
      var l = Math.sqrt(vn[i] * vn[i] + vn[i + 1] * vn[i + 1] + vn[i + 2] * vn[i + 2]) || 1;
      vn[i] /= l; vn[i + 1] /= l; vn[i + 2] /= l;
    }
    this.faceNormals = fn;
    this.vertexNormals = vn;
  };

  // Vertices ("v x y [z]") and faces ("f a b c ..." with a, a/t, a/t/n or a//n references,
  // negative ones counting from the end); polygons become triangle fans. Other lines are skipped.
  JSC3D.parseObj = function (text) {
    var vertices = [], faces = [];
    var lines = text.split('\n');
    for (var i = 0; i < lines.length; i++) {
      var parts = lines[i].trim().split(/\s+/);
      if (parts[0] === 'v') {
        vertices.push(parseFloat(parts[1]) || 0, parseFloat(parts[2]) || 0, parseFloat(parts[3]) || 0);
      } else if (parts[0] === 'f' && parts.length >= 4) {
        var n = vertices.length / 3, idx = [];
        for (var k = 1; k < parts.length; k++) {
          var r = parseInt(parts[k].split('/')[0], 10);
          idx.push(r < 0 ? n + r : r - 1);
        }
        var valid = idx.every(function (x) { return x >= 0 && x < n; });
        if (!valid) throw new Error('3d.obj line ' + (i + 1) + ': face refers to a missing vertex');
        for (var j = 1; j + 1 < idx.length; j++) faces.push(idx[0], idx[j], idx[j + 1]);
      }
    }
    return new Mesh(vertices, faces);
  };
  JSC3D.loaders.obj = JSC3D.parseObj;
  JSC3D.Mesh = Mesh;

  // ---- the viewer ----------------------------------------------------------------------

  var RENDER_MODES = ['smooth', 'flat', 'point', 'wireframe'];

  function Viewer(canvas) {
    if (!canvas || !canvas.getContext) throw new Error('JSC3D.Viewer needs a canvas element');
    this.canvas = canvas;
    this.ctx = canvas.getContext('2d');
    this.params = {
      SceneUrl: '', InitRotationX: 0, InitRotationY: 0, InitRotationZ: 0,
      ModelColor: '#CAA618', BackgroundColor1: '#FFFFFF', BackgroundColor2: '#383840',
      RenderMode: 'smooth', FaceCulling: 'off', ProgressBar: 'off'
    };
    this.mesh = null;
    this.rotation = [1, 0, 0, 0, 1, 0, 0, 0, 1];
    this.zoom = 1;
    this.framePending = false;
    this.onloadingcomplete = null;  // function (mesh)
    this.onloadingerror = null;     // function (message)
    this.setState('created');
  }

  Viewer.prototype.setParameter = function (name, value) {
    this.params[name] = value;
  };

  Viewer.prototype.setState = function (state) {
    this.state = state;
    this.canvas.setAttribute('data-state', state);
  };

  // Reads the parameters, installs the input handlers and starts loading the scene.
  Viewer.prototype.init = function () {
    var p = this.params;
    this.modelColor = parseColor(p.ModelColor, [202, 166, 24]);
    this.background1 = parseColor(p.BackgroundColor1, [255, 255, 255]);
    this.background2 = parseColor(p.BackgroundColor2, [56, 56, 64]);
    this.setRenderMode(p.RenderMode);
    this.faceCulling = String(p.FaceCulling).toLowerCase() === 'on';
    this.progressBar = String(p.ProgressBar).toLowerCase() === 'on';
    var r = multiply(rotationMatrix(2, +p.InitRotationZ || 0),
      multiply(rotationMatrix(1, +p.InitRotationY || 0), rotationMatrix(0, +p.InitRotationX || 0)));
    this.rotation = r;
    this.installMouse();
    if (typeof this.installTouch === 'function') this.installTouch();
    if (p.SceneUrl) this.loadScene(p.SceneUrl);
  };

  Viewer.prototype.setRenderMode = function (mode) {
    this.renderMode = RENDER_MODES.indexOf(mode) >= 0 ? mode : 'smooth';
  };

  // Redraws on the next animation frame (several calls in one frame draw once).
  Viewer.prototype.update = function () {
    if (this.framePending) return;
    this.framePending = true;
    var self = this;
    var draw = function () { self.framePending = false; self.render(); };
    if (window.requestAnimationFrame) window.requestAnimationFrame(draw);
    else window.setTimeout(draw, 16);
  };

  // Turns the model by angles (degrees) about the screen axes.
  Viewer.prototype.rotate = function (degX, degY, degZ) {
    var r = multiply(rotationMatrix(0, degX), rotationMatrix(1, degY));
    if (degZ) r = multiply(rotationMatrix(2, degZ), r);
    this.rotation = multiply(r, this.rotation);
  };

  Viewer.prototype.zoomBy = function (factor) {
    this.zoom = Math.min(50, Math.max(0.05, this.zoom * factor));
  };

  // ---- loading ---------------------------------------------------------------------------

  Viewer.prototype.loadScene = function (url) {
    var self = this;
    var ext = url.split('?')[0].split('.').pop().toLowerCase();
    var loader = JSC3D.loaders[ext];
    if (!loader) { this.fail('No loader for ".' + ext + '" files'); return; }
    this.setState('loading');
    this.loadFraction = 0;
    this.render();
    var xhr = new XMLHttpRequest();
    xhr.open('GET', url, true);
    xhr.onprogress = function (e) {
      if (e.lengthComputable && e.total > 0) {
        self.loadFraction = e.loaded / e.total;
        if (self.progressBar) self.render();
      }
    };
    xhr.onload = function () {
      if (xhr.status !== 200 && xhr.status !== 0) {
        self.fail('Could not load ' + url + ' (HTTP ' + xhr.status + ')');
        return;
      }
      try {
        self.mesh = loader(xhr.responseText);
      } catch (e) {
        self.fail(e.message);
        return;
      }
      self.setState('ready');
      self.canvas.setAttribute('data-faces', String(self.mesh.faceCount));
      self.render();
      if (self.onloadingcomplete) self.onloadingcomplete(self.mesh);
    };
    xhr.onerror = function () {
      self.fail('Could not load ' + url + ': browsers refuse files opened directly from disk;' +
        ' serve the directory, e.g. with "python3 -m http.server", and open it from there');
    };
    xhr.send();
  };

  Viewer.prototype.fail = function (message) {
    this.setState('error');
    this.errorMessage = message;
    this.render();
    if (this.onloadingerror) this.onloadingerror(message);
  };

  // ---- input -----------------------------------------------------------------------------

  Viewer.prototype.installMouse = function () {
    var self = this, canvas = this.canvas, last = null;
    canvas.addEventListener('mousedown', function (e) {
      last = [e.clientX, e.clientY];
      e.preventDefault();
    });
    document.addEventListener('mousemove', function (e) {
      if (!last) return;
      self.rotate((e.clientY - last[1]) * 0.5, (e.clientX - last[0]) * 0.5, 0);
      last = [e.clientX, e.clientY];
      self.update();
    });
    document.addEventListener('mouseup', function () { last = null; });
    canvas.addEventListener('wheel', function (e) {
      self.zoomBy(Math.exp(-e.deltaY * 0.0015));
      self.update();
      e.preventDefault();
    }, { passive: false });
  };

  // ---- drawing ---------------------------------------------------------------------------

  Viewer.prototype.render = function () {
    var w = this.canvas.width, h = this.canvas.height;
    if (!this.image || this.image.width !== w || this.image.height !== h) {
      this.image = this.ctx.createImageData(w, h);
      this.pixels = new Uint32Array(this.image.data.buffer);
      this.depth = new Float32Array(w * h);
    }
    this.clear(w, h);
    if (this.mesh) this.drawMesh(w, h);
    this.ctx.putImageData(this.image, 0, 0);
    if (this.state === 'loading' && this.progressBar) this.drawProgress(w, h);
    if (this.state === 'error') this.drawMessage(this.errorMessage, w, h);
  };

  function packColor(r, g, b) {
    return (255 << 24) | (b << 16) | (g << 8) | r;  // RGBA bytes on a little-endian machine
  }

  // Vertical gradient from BackgroundColor1 (top) to BackgroundColor2 (bottom).
  Viewer.prototype.clear = function (w, h) {
    var c1 = this.background1, c2 = this.background2, px = this.pixels;
    for (var y = 0; y < h; y++) {
      var t = h > 1 ? y / (h - 1) : 0;
      var c = packColor(Math.round(c1[0] + (c2[0] - c1[0]) * t), Math.round(c1[1] + (c2[1] - c1[1]) * t),
        Math.round(c1[2] + (c2[2] - c1[2]) * t));
      px.fill(c, y * w, (y + 1) * w);
    }
    this.depth.fill(-Infinity);
  };

  // Camera distance in model radii: a mild perspective that lets a flat mesh read as tilted.
  var CAMERA_DISTANCE = 3.5;

  // Rotates the centred model into view space (vx, vy, vz; z towards the viewer) and projects
  // it to the screen (sx, sy; sz keeps the view depth for the z-buffer).
  Viewer.prototype.drawMesh = function (w, h) {
    var m = this.mesh, v = m.vertices, r = this.rotation, n = m.vertexCount;
    var view = { x: new Float64Array(n), y: new Float64Array(n), z: new Float64Array(n) };
    var sx = new Float64Array(n), sy = new Float64Array(n), sz = view.z;
    var d = CAMERA_DISTANCE * m.radius;
    var scale = this.zoom * 0.4 * Math.min(w, h) / m.radius, cx = m.center[0], cy = m.center[1], cz = m.center[2];
    for (var i = 0; i < n; i++) {
      var x = v[i * 3] - cx, y = v[i * 3 + 1] - cy, z = v[i * 3 + 2] - cz;
      var vx = r[0] * x + r[1] * y + r[2] * z, vy = r[3] * x + r[4] * y + r[5] * z, vz = r[6] * x + r[7] * y + r[8] * z;
      var p = d / (d - vz);
      view.x[i] = vx; view.y[i] = vy; view.z[i] = vz;
      sx[i] = w / 2 + vx * scale * p;
      sy[i] = h / 2 - vy * scale * p;
    }
    this.view = view;
    if (this.renderMode === 'point') this.drawPoints(sx, sy, sz, w, h);
    else if (this.renderMode === 'wireframe') this.drawWireframe(sx, sy, sz, w, h);
    else this.drawFaces(sx, sy, sz, w, h, this.renderMode === 'smooth');
  };

  // A point light above and in front of the model, and a Blinn-Phong highlight: even a flat
  // mesh shows a gradient (smooth) or its facets (flat). Both sides of a face are lit.
  // Returns the diffuse factor (times the model colour) and the highlight (added as white).
  Viewer.prototype.shade = function (nx, ny, nz, px, py, pz, out) {
    var r = this.rotation, rad = this.mesh.radius, d = CAMERA_DISTANCE * rad;
    var rx = r[0] * nx + r[1] * ny + r[2] * nz, ry = r[3] * nx + r[4] * ny + r[5] * nz, rz = r[6] * nx + r[7] * ny + r[8] * nz;
    var lx = 0.5 * rad - px, ly = 2.5 * rad - py, lz = 2.5 * rad - pz;
    var ll = Math.sqrt(lx * lx + ly * ly + lz * lz) || 1;
    lx /= ll; ly /= ll; lz /= ll;
    var dot = rx * lx + ry * ly + rz * lz;
    if (dot < 0) { rx = -rx; ry = -ry; rz = -rz; dot = -dot; }
    var ex = -px, ey = -py, ez = d - pz, el = Math.sqrt(ex * ex + ey * ey + ez * ez) || 1;
    var hx = lx + ex / el, hy = ly + ey / el, hz = lz + ez / el, hl = Math.sqrt(hx * hx + hy * hy + hz * hz) || 1;
    var specular = Math.max(0, (rx * hx + ry * hy + rz * hz) / hl);
    out[0] = 0.2 + 0.8 * dot;
    out[1] = 0.35 * Math.pow(specular, 24);
  };

  Viewer.prototype.drawFaces = function (sx, sy, sz, w, h, smooth) {
    var m = this.mesh, f = m.faces, fn = m.faceNormals, vn = m.vertexNormals, view = this.view;
    var diffuse = new Float64Array(m.vertexCount), highlight = new Float64Array(m.vertexCount), out = [0, 0];
    if (smooth) {
      for (var k = 0; k < m.vertexCount; k++) {
        this.shade(vn[k * 3], vn[k * 3 + 1], vn[k * 3 + 2], view.x[k], view.y[k], view.z[k], out);
        diffuse[k] = out[0];
        highlight[k] = out[1];
      }
    }
    var shades = [0, 0, 0, 0, 0, 0];
    for (var t = 0; t < f.length; t += 3) {
      var a = f[t], b = f[t + 1], c = f[t + 2];
      // screen y points down, so a face turned to the viewer has a negative signed area
      var area = (sx[b] - sx[a]) * (sy[c] - sy[a]) - (sx[c] - sx[a]) * (sy[b] - sy[a]);
      if (area === 0 || (this.faceCulling && area > 0)) continue;
      if (smooth) {
        shades[0] = diffuse[a]; shades[1] = diffuse[b]; shades[2] = diffuse[c];
        shades[3] = highlight[a]; shades[4] = highlight[b]; shades[5] = highlight[c];
      } else {
        this.shade(fn[t], fn[t + 1], fn[t + 2], (view.x[a] + view.x[b] + view.x[c]) / 3,
          (view.y[a] + view.y[b] + view.y[c]) / 3, (view.z[a] + view.z[b] + view.z[c]) / 3, out);
        shades[0] = shades[1] = shades[2] = out[0];
        shades[3] = shades[4] = shades[5] = out[1];
      }
      this.fillTriangle(sx, sy, sz, a, b, c, shades, area, w, h);
    }
  };

  // Edge functions over the bounding box; depth, diffuse factor and highlight interpolated
  // linearly in screen space (shades: diffuse at a, b, c, then highlight at a, b, c).
  Viewer.prototype.fillTriangle = function (sx, sy, sz, a, b, c, shades, area, w, h) {
    var px = this.pixels, depth = this.depth, mc = this.modelColor;
    var x0 = Math.max(0, Math.floor(Math.min(sx[a], sx[b], sx[c])));
    var x1 = Math.min(w - 1, Math.ceil(Math.max(sx[a], sx[b], sx[c])));
    var y0 = Math.max(0, Math.floor(Math.min(sy[a], sy[b], sy[c])));
    var y1 = Math.min(h - 1, Math.ceil(Math.max(sy[a], sy[b], sy[c])));
    var inv = 1 / area;
    for (var y = y0; y <= y1; y++) {
      var py = y + 0.5;
      for (var x = x0; x <= x1; x++) {
        var pxx = x + 0.5;
        var wa = ((sx[b] - pxx) * (sy[c] - py) - (sx[c] - pxx) * (sy[b] - py)) * inv;
        var wb = ((sx[c] - pxx) * (sy[a] - py) - (sx[a] - pxx) * (sy[c] - py)) * inv;
        var wc = 1 - wa - wb;
        if (wa < 0 || wb < 0 || wc < 0) continue;
        var z = wa * sz[a] + wb * sz[b] + wc * sz[c], o = y * w + x;
        if (z <= depth[o]) continue;
        depth[o] = z;
        var s = wa * shades[0] + wb * shades[1] + wc * shades[2];
        var hl = 255 * (wa * shades[3] + wb * shades[4] + wc * shades[5]);
        px[o] = packColor(Math.min(255, mc[0] * s + hl) | 0, Math.min(255, mc[1] * s + hl) | 0,
          Math.min(255, mc[2] * s + hl) | 0);
      }
    }
  };

  Viewer.prototype.drawWireframe = function (sx, sy, sz, w, h) {
    var f = this.mesh.faces, color = packColor(this.modelColor[0], this.modelColor[1], this.modelColor[2]);
    for (var t = 0; t < f.length; t += 3) {
      for (var k = 0; k < 3; k++) this.drawLine(sx, sy, sz, f[t + k], f[t + (k + 1) % 3], color, w, h);
    }
  };

  Viewer.prototype.drawLine = function (sx, sy, sz, a, b, color, w, h) {
    var steps = Math.ceil(Math.max(Math.abs(sx[b] - sx[a]), Math.abs(sy[b] - sy[a]))) || 1;
    for (var i = 0; i <= steps; i++) {
      var t = i / steps;
      var x = Math.floor(sx[a] + (sx[b] - sx[a]) * t), y = Math.floor(sy[a] + (sy[b] - sy[a]) * t);
      if (x < 0 || y < 0 || x >= w || y >= h) continue;
      var z = sz[a] + (sz[b] - sz[a]) * t, o = y * w + x;
      if (z < this.depth[o]) continue;
      this.depth[o] = z;
      this.pixels[o] = color;
    }
  };

  Viewer.prototype.drawPoints = function (sx, sy, sz, w, h) {
    var color = packColor(this.modelColor[0], this.modelColor[1], this.modelColor[2]);
    for (var i = 0; i < sx.length; i++) {
      var x0 = Math.floor(sx[i]) - 1, y0 = Math.floor(sy[i]) - 1;
      for (var y = y0; y < y0 + 3; y++) {
        for (var x = x0; x < x0 + 3; x++) {
          if (x < 0 || y < 0 || x >= w || y >= h) continue;
          var o = y * w + x;
          if (sz[i] < this.depth[o]) continue;
          this.depth[o] = sz[i];
          this.pixels[o] = color;
        }
      }
    }
  };

  Viewer.prototype.drawProgress = function (w, h) {
    var ctx = this.ctx, bw = Math.round(w * 0.4), x = Math.round((w - bw) / 2), y = Math.round(h / 2);
    ctx.strokeStyle = '#666';
    ctx.strokeRect(x, y, bw, 10);
    ctx.fillStyle = '#CAA618';
    ctx.fillRect(x + 1, y + 1, Math.round((bw - 2) * (this.loadFraction || 0)), 8);
  };

  Viewer.prototype.drawMessage = function (text, w, h) {
    var ctx = this.ctx;
    ctx.fillStyle = '#B00000';
    ctx.font = '15px Helvetica, Arial, sans-serif';
    ctx.textAlign = 'center';
    ctx.fillText(text, w / 2, h / 2, w - 40);
  };

  JSC3D.Viewer = Viewer;
  return JSC3D;
})();
