'use strict';
// Draws each address's QR code, as kvbeacon-web encoded it, on a canvas: dark modules on white
// with a quiet zone of four modules, as scanners want.
function drawCode(canvas, rows) {
  const quiet = 4;
  const cells = rows.length + 2 * quiet;
  const scale = Math.max(4, Math.floor(320 / cells));
  canvas.width = canvas.height = cells * scale;
  const g = canvas.getContext('2d');
  g.fillStyle = '#fff';
  g.fillRect(0, 0, canvas.width, canvas.height);
  g.fillStyle = '#000';
  rows.forEach((row, y) => {
    for (let x = 0; x < row.length; x++)
      if (row[x] === '1') g.fillRect((x + quiet) * scale, (y + quiet) * scale, scale, scale);
  });
}

Kvb.watchState();

fetch('/api/phone').then((r) => r.json()).then((phone) => {
  const codes = document.getElementById('codes');
  codes.textContent = '';
  if (!phone.urls.length) {
    const p = document.createElement('p');
    p.textContent = 'This PC is on no network a phone could reach: connect it to the phone\'s Wi-Fi, then reload.';
    codes.appendChild(p);
    return;
  }
  for (const entry of phone.urls) {
    const figure = document.createElement('figure');
    const canvas = document.createElement('canvas');
    drawCode(canvas, entry.qr);
    const caption = document.createElement('figcaption');
    caption.className = 'address';
    caption.textContent = entry.url;
    figure.append(canvas, caption);
    codes.appendChild(figure);
  }
}).catch(() => {
  document.getElementById('none').textContent = 'kvbeacon-web does not answer: is it still running?';
});
